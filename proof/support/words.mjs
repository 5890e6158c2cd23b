// A number as the documents write it: 12,345.
export const said = (number) => number.toLocaleString('en-US');

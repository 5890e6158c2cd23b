// The last status; null until the first one has come.
let state = null;

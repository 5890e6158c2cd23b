#!/usr/bin/env bash
# The commands of the console tool as a part of its man page, out of what their --help says.
#   scripts/lib/tool_commands.sh TOOL
set -euo pipefail

tool=$1

# A summary, the usage, the options each with its words, further lines. An option that is too long
# for its column has its words on the next line.
to_manual='
    function literal(text) {
        gsub(/-/, "\\-", text)
        return text
    }
    NR == 1 { print literal($0) "\n.PP"; next }
    /^Usage: / { print "\\fB" literal(substr($0, 8)) "\\fR"; next }
    /^Options:$/ { options = 1; next }
    options && /^  -/ {
        words = substr($0, 3)
        gap = match(words, /  +/)
        name = gap ? substr(words, 1, gap - 1) : words
        meaning = gap ? substr(words, gap + RLENGTH) : ""
        if (match(name, / Excludes: /)) {
            meaning = meaning "; not with " substr(name, RSTART + RLENGTH)
            name = substr(name, 1, RSTART - 1)
        }
        print ".TP\n.B " literal(name)
        if (meaning != "") print literal(meaning)
        next
    }
    options && /^ +[^ ]/ { sub(/^ +/, ""); print literal($0); next }
    /^$/ { options = 0; next }
    /^Exit code: / { next }
    { print ".PP\n" literal($0) }'

# The last block of the help lists them.
commands=$("$tool" --help | tr -d '\r' | sed -n '/^Subcommands:$/,/^$/s/^  \([a-z]*\) .*/\1/p')
for command in $commands; do
    echo ".SS $command"
    "$tool" "$command" --help | awk "$to_manual"
done

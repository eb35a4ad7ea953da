#!/usr/bin/env bash
# The manual page docs/sprig.1.in and the tool's own help describe the same
# commands and options: every command of `sprig --help` has a section of the
# page and every option printed by `sprig --help` or `sprig help COMMAND` is
# on it, and every command and option the page names is in the help. Every
# help exits with 0; `sprig help COMMAND` prints what `sprig COMMAND --help`
# does, and `sprig --version` prints the version.
# Usage: SPRIG=path/to/sprig man_page_test.sh WORKDIR
set -u
source "$(dirname "$0")/lib.sh" "$1"
page=$(dirname "$0")/../../docs/sprig.1.in

# The page as text: roff's escaped hyphens and font changes taken out.
sed -e 's/\\-/-/g' -e 's/\\f[BIRP]//g' "$page" >"$work/page.txt"
options() { grep -o -E -- '--[a-z][a-z-]*' "$@" | sort -u; }

expect_status 0 "$SPRIG" --help
cp "$work/out.txt" "$work/help.txt"
commands=$(sed -n '/^commands:/,$p' "$work/help.txt" | awk 'NF > 1 && /^  / { print $1 }')
[ -n "$commands" ] || fail "sprig --help lists no commands"
cp "$work/help.txt" "$work/all_help.txt"
for command in $commands; do
    grep -q -E "^\.SS \"?$command( |\"|$)" "$work/page.txt" || fail "no section for $command in the page"
    expect_status 0 "$SPRIG" help "$command"
    cp "$work/out.txt" "$work/help_$command.txt"
    head -n 1 "$work/out.txt" | grep -q "^usage: sprig $command" || fail "sprig help $command: $(head -n 1 "$work/out.txt")"
    expect_status 0 "$SPRIG" "$command" --help
    cmp -s "$work/out.txt" "$work/help_$command.txt" || fail "sprig help $command differs from sprig $command --help"
    cat "$work/help_$command.txt" >>"$work/all_help.txt"
done

# Options, both ways.
for option in $(options "$work/all_help.txt"); do
    grep -q -- "$option\b" "$work/page.txt" || fail "the page does not describe $option"
done
for option in $(options "$work/page.txt"); do
    grep -q -- "$option\b" "$work/all_help.txt" || fail "the page names $option, which no help mentions"
done
# Commands the page gives a section to, against the help's list.
for section in $(sed -n '/^\.SH COMMANDS/,/^\.SH [^C]/p' "$work/page.txt" |
                 sed -n 's/^\.SS "\{0,1\}\([a-z]*\).*/\1/p'); do
    echo "$commands" | grep -qx "$section" || fail "the page describes $section, which sprig --help does not list"
done

expect_status 0 "$SPRIG" --version
version=$(sed -n 's/^project(sprig VERSION \([0-9.]*\).*/\1/p' "$(dirname "$0")/../../CMakeLists.txt")
[ "$(cat "$work/out.txt")" = "sprig $version" ] || fail "--version: $(cat "$work/out.txt"), expected sprig $version"
expect_status 2 "$SPRIG" help nosuchcommand
grep -q "unknown command 'nosuchcommand'" "$work/err.txt" || fail "sprig help nosuchcommand: $(cat "$work/err.txt")"
expect_status 2 "$SPRIG" --nosuchoption
finish

# Shared by the tool tests: run as `source lib.sh WORKDIR` with $SPRIG set to
# the sprig binary. Each test script calls `finish` at its end.
work=$1
rm -rf "$work" && mkdir -p "$work"
failures=0

fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

# expect_status STATUS COMMAND...: runs the command, keeping its output in
# $work/out.txt and $work/err.txt.
expect_status() {
    local expected=$1; shift
    "$@" >"$work/out.txt" 2>"$work/err.txt"
    local status=$?
    [ "$status" -eq "$expected" ] || fail "'$*' exited $status, expected $expected: $(cat "$work/err.txt")"
}

# expect_one_line_error: the last command's standard error is a single line.
expect_one_line_error() {
    [ "$(wc -l <"$work/err.txt")" -eq 1 ] || fail "$1: not a one-line error: $(cat "$work/err.txt")"
}

finish() {
    [ "$failures" -eq 0 ] && echo "passed"
    exit $((failures > 0))
}

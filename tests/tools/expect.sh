# To be sourced with the tool in $zel_fc: a folder for the test's files, and a look at one run.
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# expect CODE TEXT ARGUMENT...: the exit code and a text in what is printed.
expect() {
    local code=$1 text=$2 got=0
    shift 2
    "$zel_fc" "$@" >"$folder/said" 2>&1 || got=$?
    if [ "$got" -ne "$code" ] || ! grep -qF -- "$text" "$folder/said"; then
        echo "zel-fc $*: exit code $got instead of $code, or without \"$text\":"
        cat "$folder/said"
        exit 1
    fi
}

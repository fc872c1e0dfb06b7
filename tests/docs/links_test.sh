#!/usr/bin/env bash
# usage: links_test.sh PROJECT. Every link of the documentation to a file or heading leads somewhere,
# and in the project every path that it names.
set -euo pipefail
cd "$1"
bad=0
checked=0
# The anchor of each heading, as the usual viewers make it.
anchors() {
    sed -n 's/^##* //p' "$1" | tr '[:upper:]' '[:lower:]' | sed 's/[^a-z0-9 _-]//g; s/ /-/g'
}
while IFS= read -r page; do
    while IFS= read -r link; do
        case $link in http*) continue ;; esac
        file=${link%%#*}
        target=${file:+$(dirname "$page")/$file}
        target=${target:-$page}
        checked=$((checked + 1))
        if [ ! -e "$target" ]; then
            echo "$page: there is no $link"
            bad=1
        elif [ "$file" != "$link" ] && ! anchors "$target" | grep -qxF -- "${link#*#}"; then
            echo "$page: $target has no heading for #${link#*#}"
            bad=1
        fi
    done < <(grep -oE '\]\([^) ]+\)' "$page" | sed 's/^](//; s/)$//')
    [ -e CMakeLists.txt ] || continue
    while IFS= read -r path; do
        [ -e "$path" ] || { echo "$page: there is no $path"; bad=1; }
    done < <(grep -oE '`(android|bench|config|converter|docs|fuzz|modules|platform|plugin|script|tests|tools)/[a-zA-Z0-9_./-]+`' \
        "$page" | tr -d '`')
done < <(find . \( -name build -o -name .git -o -name .cache \) -prune -o -name '*.md' -print)
echo "$checked links"
[ "$checked" -gt 20 ] && [ "$bad" -eq 0 ]

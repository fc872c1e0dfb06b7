#!/usr/bin/env bash
# usage: packages_test.sh LIB_SH. What the scripts install, told by stand-ins for dpkg-query and apt-get.
set -euo pipefail
. "$1"
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
# "both" is installed for two architectures: dpkg-query reports each.
cat >"$folder/dpkg-query" <<'END'
#!/bin/sh
format=$3
case $4 in
    one) printf "$(echo "$format" | sed 's/\${Status}/install ok installed/')" ;;
    both) printf "$(echo "$format$format" | sed 's/\${Status}/install ok installed/g')" ;;
    gone) printf "$(echo "$format" | sed 's/\${Status}/deinstall ok config-files/')" ;;
    *) exit 1 ;;
esac
END
# An index that cannot be fetched must not keep what is known from being installed.
cat >"$folder/apt-get" <<END
#!/bin/sh
case \$1 in
    update) exit 100 ;;
    install) shift; echo "\$*" >>"$folder/installed" ;;
esac
END
printf '#!/bin/sh\nexec "$@"\n' >"$folder/sudo"
chmod +x "$folder"/{dpkg-query,apt-get,sudo}
PATH=$folder:$PATH

install_packages one both
[ ! -e "$folder/installed" ] || { echo "installs again: $(cat "$folder/installed")"; exit 1; }
install_packages one gone unknown both
grep -q -- '--no-remove gone unknown$' "$folder/installed"

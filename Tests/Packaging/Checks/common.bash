# Sourced by every check of a package, which is called as `CHECK PACKAGE.deb`. Sets `package`; `root`,
# the folder that it is unpacked into; and `project`, the source.
set -euo pipefail

package=$(realpath "$1")
project=$(cd "$(dirname "${BASH_SOURCE[0]}")/../../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
root=$work/root
dpkg-deb -x "$package" "$root"
program=$root/usr/bin/quorvane-tandrel
library=$root/usr/lib/quorvane-tandrel/modules/quorvane-tandrel-content.so
entry=$root/usr/share/applications/com.quorvane.Tandrel.desktop
failures=0

# fail TEXT...: notes a failure; the check goes on.
fail() {
    printf '%s\n' "$*" >&2
    failures=$((failures + 1))
}

# finish: the check's last command.
finish() {
    ((failures == 0))
}

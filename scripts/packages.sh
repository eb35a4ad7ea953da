# Sourced by the scripts that need Debian packages.
# install_missing PACKAGE...: installs those of the packages that are not
# installed yet (as root, or through sudo).
install_missing()
{
    local missing=() package sudo=""
    for package in "$@"; do
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" \
            || missing+=("$package")
    done
    [ ${#missing[@]} -gt 0 ] || return 0
    echo "$(basename "$0" .sh): installing ${missing[*]}"
    [ "$(id -u)" -eq 0 ] || sudo="sudo"
    $sudo apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends \
        "${missing[@]}" >/dev/null
}

# Sourced by scripts/run and scripts/test: installs Debian packages only when they are missing,
# with sudo when not root, running apt-get update at most once.
updated=0
ensure_packages() {
    local missing=()
    for pkg in "$@"; do
        dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q "install ok installed" ||
            missing+=("$pkg")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    local sudo=""
    [ "$(id -u)" -eq 0 ] || sudo="sudo"
    echo "installing: ${missing[*]}"
    if [ $updated -eq 0 ]; then
        $sudo apt-get update -qq
        updated=1
    fi
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends \
        "${missing[@]}" >/dev/null
}

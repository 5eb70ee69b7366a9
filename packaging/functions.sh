# Shared by ./run and ./test: messages, and the packages that they need. Sourced by bash; $project is the source tree.

fail() {
    printf '%s: %s\n' "${0##*/}" "$1" >&2
    exit 1
}

say() {
    printf '%s\n' "$*"
}

as_root() {
    if ((EUID == 0)); then
        "$@"
    else
        sudo "$@"
    fi
}

# missing_packages KIND...: the packages of these kinds that are not installed, one a line.
missing_packages() {
    local kind package wanted=()
    while read -r kind package; do
        [[ " $* " == *" $kind "* ]] && wanted+=("$package")
    done < <(grep -E '^[a-z]+ ' "$project/packaging/packages.txt")
    ((${#wanted[@]})) || return 0
    comm -23 <(printf '%s\n' "${wanted[@]}" | sort -u) \
        <(dpkg-query -W -f '${db:Status-Abbrev}${Package}\n' "${wanted[@]}" 2>/dev/null | sed -n 's/^ii *//p' | sort -u)
}

# ensure_packages KIND...: installs what is missing; without anything missing it touches nothing.
ensure_packages() {
    local missing
    mapfile -t missing < <(missing_packages "$@")
    ((${#missing[@]})) || return 0
    command -v apt-get >/dev/null || fail "cannot install the missing packages without apt-get: ${missing[*]}"
    ((EUID == 0)) || command -v sudo >/dev/null ||
        fail "cannot install packages without sudo; as root, run: apt-get install ${missing[*]}"
    say "Installing ${#missing[@]} missing packages: ${missing[*]}"
    apt_get update || fail "could not fetch the package lists"
    # The server package would otherwise create a cluster of the system's own and start it on every boot.
    [[ " ${missing[*]} " != *" postgresql-15 "* ]] || hold_back_system_cluster
    install_quietly "${missing[@]}" || fail "could not install the missing packages"
}

apt_get() {
    as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq -o Dpkg::Use-Pty=0 "$@" </dev/null
}

# Installs packages without starting the services that come with them, now or at the next boot.
install_quietly() {
    local policy=/usr/sbin/policy-rc.d status=0 own_policy="" service
    if [[ ! -e $policy ]]; then
        printf '#!/bin/sh\nexit 101\n' | as_root tee "$policy" >/dev/null && as_root chmod 755 "$policy" && own_policy=yes
    fi
    apt_get install --no-install-recommends "$@" || status=$?
    [[ -z $own_policy ]] || as_root rm -f "$policy"
    for service in mpd gmediarender; do
        [[ " $* " == *" $service "* ]] || continue
        as_root update-rc.d "$service" disable >/dev/null 2>&1 || true
        [[ ! -e /lib/systemd/system/$service.socket ]] ||
            as_root systemctl disable "$service.socket" >/dev/null 2>&1 || true
    done
    return "$status"
}

# Only while the server package is being installed, and only on a system that had none.
hold_back_system_cluster() {
    local status="" config=/etc/postgresql-common/createcluster.conf line='create_main_cluster = false # only while dms installs'
    install_quietly postgresql-common || fail "could not install package \"postgresql-common\""
    printf '%s\n' "$line" | as_root tee -a "$config" >/dev/null
    install_quietly postgresql-15 || status=$?
    as_root sed -i "\|^$line\$|d" "$config"
    [[ -z $status ]] || fail "could not install package \"postgresql-15\""
}

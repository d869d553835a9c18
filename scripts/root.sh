# shellcheck shell=bash
# SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
# SPDX-License-Identifier: GPL-2.0-or-later

# Read by the scripts that work in a root of another Debian, made with debootstrap. That of Debian 13 is kept in
# build-debian13/ for the next time. The sources are seen read-only in a root, as /source.

# shellcheck source-path=SCRIPTDIR source=lib.sh
. "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/lib.sh"

root=$top/build-debian13/root

# shellcheck disable=SC2034 # for the scripts
readonly build_packages_13=(
    g++ cmake ninja-build extra-cmake-modules gettext
    qt6-base-dev libkf6coreaddons-dev libkf6i18n-dev libkf6widgetsaddons-dev libkf6windowsystem-dev
    pkgconf libfdisk-dev libblkid-dev libmount-dev libudev-dev libssl-dev libxxhash-dev libseccomp-dev
)

# in_root COMMAND...: runs it with $root as its own. All mounts are of its own name space and end with it. The root is
# entered by pivot_root, since in a chroot no test could make a name space for itself.
in_root() {
    # shellcheck disable=SC2016 # expanded by the inner shell
    env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive \
        unshare --mount bash -euc '
            mount --bind "$1" "$1"
            cd "$1"
            mount -t proc proc proc
            mount -t tmpfs tmpfs tmp
            mount --bind -o ro "$2" source
            pivot_root . mnt
            umount --lazy /mnt
            cd /
            exec "${@:3}"
        ' in_root "$root" "$top" "$@"
}

# make_root SUITE: in $root. It counts as made once debootstrap has ended well; what it left half-made is made again.
make_root() {
    local mirror
    [[ ! -e $root/made ]] || return 0
    # shellcheck disable=SC2016 # expanded by apt-get
    mirror=$(apt-get indextargets --format '$(SITE)' | grep '/debian$' | head -n 1 || true)
    mkdir -p "$(dirname "$root")"
    rm -rf --one-file-system -- "$root"
    debootstrap --variant=minbase "$1" "$root" "${mirror:-http://deb.debian.org/debian}" >"$root.log" 2>&1 ||
        fail "debootstrap failed; its log is $root.log"
    touch "$root/made"
}

# prepare_root SUITE: makes it, and lets it reach Debian's packages as this machine does.
prepare_root() {
    make_root "$1"
    cp -L /etc/resolv.conf "$root/etc/resolv.conf"
    apt-config dump | grep -i '^Acquire::.*Proxy' >"$root/etc/apt/apt.conf.d/90host" || true
    mkdir -p "$root/source"
}

# need_root13 PACKAGE...: that of Debian 13, with these packages in it.
need_root13() {
    prepare_root trixie
    in_root apt-get -qq update
    in_root apt-get -qq install --no-install-recommends "$@" >"$top/build-debian13/apt.log" ||
        fail "the packages cannot be installed; see build-debian13/apt.log"
}

# shellcheck shell=bash
# SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
# SPDX-License-Identifier: GPL-2.0-or-later

# Read by the scripts in this folder and the lab's campaign: the packages of Debian 12, building, and what the machine
# can do at a time.

set -euo pipefail

top=$(dirname "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")")
BUILD_DIR=$(realpath -m "${BUILD_DIR:-$top/build}")

# shellcheck disable=SC2034 # for the scripts
readonly build_packages=(
    g++ cmake ninja-build extra-cmake-modules gettext
    qtbase5-dev libkf5coreaddons-dev libkf5i18n-dev libkf5widgetsaddons-dev libkf5windowsystem-dev
    pkgconf libfdisk-dev libblkid-dev libmount-dev libudev-dev libssl-dev libxxhash-dev libseccomp-dev
)
# What the program and the commands on disks run.
# shellcheck disable=SC2034
readonly run_packages=(
    fdisk udftools partclone lbzip2 grub-pc-bin grub2-common
    e2fsprogs xfsprogs btrfs-progs f2fs-tools dosfstools exfatprogs ntfs-3g
)
# The virtual machine; its X server and window manager; what the scenarios work and look at the windows with.
# shellcheck disable=SC2034
readonly lab_packages=(
    user-mode-linux kmod attr procps dmsetup exfat-fuse
    xvfb openbox fonts-dejavu-core
    xdotool x11-utils imagemagick dbus-daemon dbus-bin
)
# An emulated PC, UEFI firmware for it beside its BIOS, and what makes the initial RAM disk that it starts.
# shellcheck disable=SC2034
readonly boot_packages=(qemu-system-x86 ovmf grub-efi-amd64-bin cpio)

say() {
    printf '%s\n' "$*"
}

fail() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
    exit 1
}

# missing_packages PACKAGE...: those that are not installed, one a line.
missing_packages() {
    local package
    for package in "$@"; do
        [[ $(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null) == installed ]] || say "$package"
    done
}

# need_root ADVICE: sets $as_root to what commands of root begin with, or gives the advice and stops.
need_root() {
    as_root=()
    [[ $EUID -ne 0 ]] || return 0
    # With a terminal sudo may ask for the password.
    { command -v sudo >/dev/null && { sudo -n true 2>/dev/null || [[ -t 0 && -t 2 ]]; }; } || fail "$1"
    as_root=(sudo)
}

# need_packages PACKAGE...: installs what is missing, or tells what to install and stops.
need_packages() {
    local missing as_root log
    command -v dpkg-query apt-get >/dev/null || fail "this is not a Debian system; it would need: $*"
    mapfile -t missing < <(missing_packages "$@")
    [[ ${#missing[@]} -gt 0 ]] || return 0
    need_root "packages are missing; as root: apt-get install ${missing[*]}"
    say "Installing ${missing[*]}"
    log=$(mktemp)
    as_root+=(env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=300 -qq)
    if ! { "${as_root[@]}" update && "${as_root[@]}" install --no-install-recommends "${missing[@]}" </dev/null; } \
        >"$log" 2>&1; then
        fail "apt-get could not install them: $(tail -n 5 "$log")"
    fi
    rm -f "$log"
}

# need_kernel: leaves Debian's kernel as $BUILD_DIR/vmlinuz and its modules in $BUILD_DIR/kernel. They are taken out of
# their package: installed, it would change how this machine starts.
need_kernel() {
    local as_root
    [[ ! -s $BUILD_DIR/vmlinuz || ! -d $BUILD_DIR/kernel/lib ]] || return 0
    say "Getting a kernel for the emulated PC"
    mkdir -p "$BUILD_DIR/kernel"
    fetch_kernel && return 0
    # The list of packages may be older than the archive.
    need_root "the kernel cannot be downloaded; as root: apt-get update"
    "${as_root[@]}" apt-get -o DPkg::Lock::Timeout=300 -qq update
    fetch_kernel || fail "no kernel can be downloaded: $(tail -n 5 "$BUILD_DIR/kernel/log")"
}

# fetch_kernel: the one for virtual machines knows no disks but virtual ones.
fetch_kernel() (
    cd "$BUILD_DIR/kernel" && rm -rf ./*.deb lib boot ../vmlinuz &&
        package=$(apt-cache depends linux-image-amd64 | sed -n 's/^ *Depends: //p') &&
        apt-get -qq download "$package" &&
        dpkg-deb --fsys-tarfile "$package"_*.deb | tar -x ./boot ./lib/modules &&
        depmod -b . "$(ls lib/modules)" && mv boot/vmlinuz-* ../vmlinuz && rm -rf ./*.deb boot
) >"$BUILD_DIR/kernel/log" 2>&1

# build [OPTION...]: everything, tests included, with these options of cmake, and an installed copy in the stage folder
# that the lab takes the program from.
build() {
    local log=$BUILD_DIR/build.log
    mkdir -p "$BUILD_DIR"
    say "Building in $BUILD_DIR"
    {
        cmake -S "$top" -B "$BUILD_DIR" -G Ninja "$@" &&
            cmake --build "$BUILD_DIR" &&
            cmake --install "$BUILD_DIR" --prefix "$BUILD_DIR/stage"
    } >"$log" 2>&1 || fail "the build failed: $(tail -n 30 "$log")"
}

start_processes() {
    local _
    for _ in {1..300}; do /bin/true; done
}

# lanes: how many tests or machines of the lab at a time. They start processes all the time, and there are virtual machines on
# which two processes that start at once hinder each other so much that one after the other is faster.
lanes() {
    local begin=${EPOCHREALTIME//[!0-9]/} middle
    start_processes && start_processes
    middle=${EPOCHREALTIME//[!0-9]/}
    start_processes &
    start_processes
    wait
    if ((${EPOCHREALTIME//[!0-9]/} - middle > (middle - begin) * 8 / 10)); then say 1; else say 2; fi
}

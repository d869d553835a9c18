# shellcheck shell=bash
# SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
# SPDX-License-Identifier: GPL-2.0-or-later

# What the tests of the helper commands share: disks that are image files on loop devices, and checks that count.

set -euo pipefail
export LC_ALL=C PATH="$PATH:/usr/sbin:/sbin"

skip() {
    printf 'skipped: %s\n' "$*"
    exit 77
}

helpers=$(readlink -f "$(dirname "${BASH_SOURCE[0]}")/../../helpers")
PATH=$helpers:$PATH
((EUID == 0)) || skip "needs root, for loop devices and mounts"
for tool in sfdisk partx losetup lbzip2 partclone.extfs mkfs.ext4 mkfs.xfs mkfs.btrfs mkfs.vfat mkfs.ntfs; do
    command -v "$tool" >/dev/null || skip "needs the command $tool"
done

# Mounts in a namespace of their own: a container started meanwhile would otherwise copy them and keep the disks busy.
[[ -n ${OWN_MOUNTS:-} ]] || OWN_MOUNTS=yes exec unshare --mount --propagation private "$0"

scratch=$(mktemp -d)
loops=()
failures=0
checks=0
finished=

clean_up() {
    local status=$? loop
    set +e
    [[ -n $finished ]] || printf 'broken off after %s checks\n' "$checks"
    for loop in "${loops[@]}"; do
        findmnt -rno TARGET -S "$loop" | tac | xargs -r umount
        findmnt -rno TARGET | grep "^$scratch/" | tac | xargs -r umount
        partx -d "$loop"
        losetup -d "$loop"
    done 2>/dev/null
    rm -rf -- "$scratch"
    exit "$status"
}
trap clean_up EXIT
trap 'exit 143' INT TERM

truncate -s 1M "$scratch/probe"
probe=$(losetup --show -f "$scratch/probe" 2>/dev/null) || skip "needs loop devices"
losetup -d "$probe"

# new_disk NAME SIZE [OPTION...]: a blank disk; sets $device (/dev/loopN), $disk (loopN) and $image (its file).
new_disk() {
    image=$scratch/$1.img
    truncate -s "$2" "$image"
    device=$(losetup --show -f "${@:3}" "$image")
    loops+=("$device")
    # shellcheck disable=SC2034 # for the tests
    disk=${device#/dev/}
}

# The kernel need not know partition tables by itself: the partitions are handed to it.
add_partitions() {
    partx -a "$device" 2>/dev/null || true
}

# check WHAT COMMAND...: counts a failure of the command.
check() {
    local what=$1
    shift
    checks=$((checks + 1))
    "$@" && return 0
    printf 'FAILED: %s\n' "$what"
    failures=$((failures + 1))
}

equal() {
    [[ $1 == "$2" ]] || { printf 'expected: %s\n     got: %s\n' "$1" "$2" && return 1; }
}

# expect WHAT STATUS TEXT COMMAND...: it ends with that status; when it fails, with one line on standard error that
# holds the text.
expect() {
    local what=$1 wanted=$2 text=$3 status=0 said
    shift 3
    "$@" >"$scratch/out" 2>"$scratch/err" || status=$?
    said=$(<"$scratch/err")
    check "$what: status" equal "$wanted" "$status"
    [[ $wanted != 0 ]] || return 0
    check "$what: one line: $said" equal 1 "$(wc -l <"$scratch/err")"
    check "$what: text: $said" grep -qF -- "$text" "$scratch/err"
}

hash_of() {
    sha256sum <"$1"
}

finish() {
    finished=yes
    printf '%s checks, %s failed\n' "$checks" "$failures"
    exit $((failures > 0))
}

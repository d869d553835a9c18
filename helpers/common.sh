# shellcheck shell=bash
# SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
# SPDX-License-Identifier: GPL-2.0-or-later

# What the helper commands share. Read with "." by each of them, never run by itself.
#
# The program takes no notice of an exit status, so the text on standard error is what an operator learns of a
# failure; the statuses are for scripts and tests.

# Run by a desktop program, the search path may lack the system directories; messages of tools are compared as text.
export LC_ALL=C PATH="$PATH:/usr/sbin:/sbin"

# The caller's standard input is a pipe that is never written to: nothing may ever wait for it.
exec </dev/null

shopt -s inherit_errexit

declare -rA STATUS=(
    [usage]=64   # wrong arguments; nothing was done
    [damaged]=65 # a file of the image set is missing, cut or damaged; nothing was written to the disk
    [missing]=66 # no such device or directory; nothing was done
    [tool]=69    # a command that is needed is not installed; nothing was done
    [failed]=74  # the work was begun and failed
    [refused]=75 # the device is in use, too small or otherwise unfit; nothing was written to it
)

# fail KIND TEXT...: one line on standard error, then the end with the status of KIND.
fail() {
    local kind=$1
    shift
    printf '%s: %s\n' "${0##*/}" "$*" >&2
    exit "${STATUS[$kind]}"
}

note() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
}

# need_arguments COUNT SYNOPSIS ARGUMENT...: as many arguments as the command takes, none of them empty.
need_arguments() {
    local count=$1 synopsis=$2 argument
    shift 2
    (($# == count)) || fail usage "usage: ${0##*/}${synopsis:+ $synopsis}"
    for argument in "$@"; do
        [[ -n $argument ]] || fail usage "an argument is empty; usage: ${0##*/} $synopsis"
    done
}

need_commands() {
    local command
    for command in "$@"; do
        [[ -x $(type -P "$command") ]] ||
            fail tool "the command $command is not installed: install the package that has it"
    done
}

# --- The end of a command -------------------------------------------------------------------------------------

exit_tasks=()
group= # the process group that run_group waits for
work=  # the folder of work_folder

# at_exit FUNCTION: have it called at the end, whatever ends the command; the last named is called first.
at_exit() {
    exit_tasks+=("$1")
}

run_exit_tasks() {
    local status=$? i
    set +e
    trap '' TERM INT HUP
    for ((i = ${#exit_tasks[@]} - 1; i >= 0; i--)); do
        "${exit_tasks[i]}"
    done
    exit "$status"
}
trap run_exit_tasks EXIT
trap 'exit 129' HUP
trap 'exit 130' INT
trap 'exit 143' TERM

# work_folder: sets $work to a fresh folder, removed at the end. Logs go there and not beside the images: partclone
# whose log cannot be written ends well without having written an image.
work_folder() {
    work=$(mktemp -d) || fail failed "no temporary folder can be made in ${TMPDIR:-/tmp}"
    at_exit remove_work_folder
}

remove_work_folder() {
    rm -rf -- "$work"
}

# run_group FUNCTION ARGUMENT...: runs it in a process group of its own and gives back its status. The shell handles
# a signal only between commands, so a long pipeline run directly would outlive the request to end by hours.
run_group() {
    local status=0
    set -m
    "$@" &
    group=$!
    set +m
    wait "$group" || status=$?
    group=
    return "$status"
}

stop_group() {
    [[ -n $group ]] || return 0
    kill -TERM -- "-$group" 2>/dev/null
    wait "$group" 2>/dev/null
}
at_exit stop_group

# last_words FILE: what a stage of a pipeline said last, leaving out partclone's pointer to its log, which is gone by then.
last_words() {
    tr '\r' '\n' <"$1" | grep -v -i -e 'please check' -e '^error exit' -e '^ *$' | tail -n 1 || true
}

# --- Devices ---------------------------------------------------------------------------------------------------
# A node in /dev need not be named as the kernel names the device, so all facts are asked by device number.

# device_number PATH: its "MAJOR:MINOR".
device_number() {
    stat -Lc '%Hr:%Lr' -- "$1"
}

# need_device NAME: fails unless /dev/NAME is a block device that the kernel knows; a node alone proves nothing.
need_device() {
    [[ -b /dev/$1 ]] || fail missing "/dev/$1: no such block device"
    [[ -e /sys/dev/block/$(device_number "/dev/$1") ]] || fail missing "/dev/$1: there is no device behind this node"
}

device_bytes() {
    blockdev --getsize64 "$1"
}

sector_bytes() {
    blockdev --getss "$1"
}

# flush_device DEVICE: forces what was written to the disk, and has the next reading come from there.
flush_device() {
    sync -- "$1" || fail failed "$1: what was written cannot be forced to the disk"
    blockdev --flushbufs "$1" || fail failed "$1: what was written cannot be forced to the disk"
}

# partition_name DISK NUMBER: hdc and 1 give hdc1, nvme0n1 and 1 give nvme0n1p1.
partition_name() {
    local infix=
    [[ $1 != *[0-9] ]] || infix=p
    printf '%s%s%s\n' "$1" "$infix" "$2"
}

# is_extended DEVICE: whether it is the container of the logical partitions in a DOS partition table.
is_extended() {
    case $(blkid -p -o value -s PART_ENTRY_TYPE -- "$1" || true) in
    0x5 | 0xf | 0x85) return 0 ;;
    *) return 1 ;;
    esac
}

# device_family NUMBER: that number and those of its partitions.
device_family() {
    local entry
    printf '%s\n' "$1"
    for entry in "/sys/dev/block/$1"/*/partition; do
        [[ ! -e $entry ]] || cat "${entry%partition}dev"
    done
}

# holders_of NUMBER: the numbers of the devices built on that one (logical volumes, RAID, encryption), at all levels.
holders_of() {
    local entry number
    for entry in "/sys/dev/block/$1"/holders/*/dev; do
        [[ -e $entry ]] || continue
        number=$(<"$entry")
        printf '%s\n' "$number"
        holders_of "$number"
    done
}

# mounts: the lines "NUMBER ro|rw POINT" of all mounts of block devices. A btrfs has a number of its own, so the
# mounted source counts as well; the other members of a btrfs are found in its folder in /sys.
mounts() {
    local number point rest source mode member
    while read -r _ _ number _ point _ rest; do
        rest=${rest#*- }
        read -r _ source mode <<<"$rest"
        [[ ,$mode, == *,ro,* ]] && mode=ro || mode=rw
        printf '%s %s %b\n' "$number" "$mode" "$point"
        printf -v source '%b' "$source" # blanks are written as \040
        [[ ! -b $source ]] || printf '%s %s %b\n' "$(device_number "$source")" "$mode" "$point"
    done </proc/self/mountinfo
    for member in /sys/fs/btrfs/*/devices/*/dev; do
        [[ ! -e $member ]] || printf '%s member (a btrfs of several devices)\n' "$(<"$member")"
    done
}

# swaps: the device numbers of the active swap areas.
swaps() {
    local source
    while read -r source _; do
        printf -v source '%b' "$source"
        [[ ! -b $source ]] || device_number "$source"
    done </proc/swaps
}

# use_of NUMBER read|write: prints what keeps the device with that number from being read or written, going by the
# lists $mounted and $swapped.
use_of() {
    local wanted=$1 way=$2 number mode point readable=
    while read -r number mode point; do
        [[ $number == "$wanted" ]] || continue
        case $way:$mode in
        read:ro) readable=yes ;;
        read:member) [[ -n $readable ]] || printf 'it is mounted: %s\n' "$point" ;;
        *:rw) printf 'it is mounted for writing at %s\n' "$point" ;;
        *) printf 'it is mounted at %s\n' "$point" ;;
        esac
    done <<<"$mounted"
    [[ $'\n'$swapped$'\n' != *$'\n'"$wanted"$'\n'* ]] || printf 'it is used as swap\n'
}

# refuse_use DEVICE read|write: fails when the device, one of its partitions or a device built on them is in use:
# for reading only what is being changed meanwhile counts, for writing everything does.
refuse_use() {
    local device=$1 way=$2 number holder use mounted swapped tries
    mounted=$(mounts) swapped=$(swaps)
    for number in $(device_family "$(device_number "$device")"); do
        use=$(use_of "$number" "$way")
        for holder in $(holders_of "$number"); do
            [[ -z $use ]] || break
            use=$(use_of "$holder" "$way")
            [[ -n $use || $way == read ]] || use="the device $holder is built on it"
        done
        [[ -z $use ]] || fail refused "$device (device $number) is in use: ${use%%$'\n'*}; release it and start again"
    done
    [[ $way == write ]] || return 0
    # Mounts that this process cannot see still hold the device exclusively; wipefs asks for that before it looks. A
    # desktop that looks at new disks holds them for a moment.
    for ((tries = 20; tries > 0; tries--)); do
        use=$(wipefs --no-act --all --quiet -- "$device" 2>&1 || true)
        [[ $use == *'resource busy'* ]] || return 0
        sleep 0.1
    done
    fail refused "$device is in use by another program; release it and start again"
}

# --- Files of an image set ---------------------------------------------------------------------------------------

# drop_cache FILE: makes the next reading come from the medium and not from memory.
drop_cache() {
    dd if="$1" iflag=nocache count=0 status=none
}

# table_seal: the last line of a complete partition-table file, made from all the lines before it on standard input.
table_seal() {
    printf '# complete: sha256 %s\n' "$(sha256sum | cut -d ' ' -f 1)"
}

# table_is_sealed FILE: whether the partition-table file ends with the line that fits the others.
table_is_sealed() {
    [[ "$(head -n -1 -- "$1" | table_seal)" == "$(tail -n 1 -- "$1")" && -z "$(tail -c 1 -- "$1")" ]]
}

# extended_note: all that the image of an extended partition holds. The container itself is one kilobyte of the
# partition table, which is saved with the table; written back, it would break the chain of logical partitions.
extended_note() {
    printf 'Norvo Clone-Restore: extended partition, nothing to write back\n'
}

# An image is one bzip2 stream of a partclone image, in one volume BASE.000 or split into BASE.000, BASE.001 and so on,
# whose contents are joined in that order. Beside it stands its record, BASE.sum, made by norvoPartimageClone:
#
#     Norvo Clone-Restore partition image
#     content ext4              kind of the content as blkid names it; "extended" and "unknown" besides
#     partition-bytes 20971520  size of the partition that was saved
#     bytes 123456              size of the volumes together
#     sha256 0123...            hash of the volumes together
#     end
#
# bzip2 and partclone cannot tell an image that was cut at a stream boundary; size and hash can, and checking them
# takes no decompression. Images without a record are tested by decompressing them.

image_record() {
    printf '%s.sum\n' "$1"
}

record_text() { # CONTENT PARTITION-BYTES BYTES SHA256
    printf 'Norvo Clone-Restore partition image\ncontent %s\npartition-bytes %s\nbytes %s\nsha256 %s\nend\n' "$@"
}

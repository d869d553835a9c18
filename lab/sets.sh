# shellcheck shell=bash
# SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
# SPDX-License-Identifier: GPL-2.0-or-later

# Read by scenarios: looking at image sets, making and writing them back with the commands and arguments of the program
# but without its windows, and having these commands fail.

. "$LAB_DIR/lib.sh"

set_date=$(date +%Y%m%d)
readonly set_date

# select_set SERIAL: the one of today; sets $folder and $prefix, and the working directory.
select_set() {
    folder=$rev_mount/$1/$set_date prefix=$1_${set_date}_
    mkdir -p "$folder"
    cd "$folder"
}

# set_holds NAME...: whether the image set holds these, none of them empty, besides records and nothing else.
set_holds() {
    diff <(printf '%s\n' "${@/#/$prefix}" | sort) \
        <(find . -type f ! -name '*.sum' ! -name '*.run' \( -empty -printf '%P is empty\n' -o -printf '%P\n' \) | sort)
}

# hashes_of_set: of its files but the run record, which each command adds to.
hashes_of_set() {
    find . -type f ! -name '*.run' -exec sha256sum {} + | LC_ALL=C sort -k 2
}

# note_set: for check_set TEXT, which sees that the files of the set selected are still those, and no others.
note_set() {
    hashes_of_set >/run/noted-set
}

check_set() {
    check "$1" diff /run/noted-set <(hashes_of_set)
}

# damage FILE: one bit in its middle.
damage() {
    local place=$(($(stat -c %s "$1") / 2)) byte
    byte=$(od -An -tu1 -j "$place" -N 1 "$1")
    printf '%b' "$(printf '\\x%02x' "$((byte ^ 1))")" | dd of="$1" bs=1 seek="$place" conv=notrunc status=none
}

# partitions_of_set TYPES: the names of the partitions in use in the set's partition table whose type fits, in order.
partitions_of_set() {
    sed -nE "/size= +0,/d; s#^/dev/([^ ]+) : .*, Id=($1)(,.*)?\$#\1#p" <"${prefix}hdc.sf"
}

# clone_set SERIAL: swap is not imaged, nor are empty slots.
clone_set() {
    local part parts
    select_set "$1"
    dd if="$disk" of="${prefix}hdc.mbr" count=1 bs=512 status=none
    norvoClonePT hdc "$folder/${prefix}hdc.sf"
    parts=$(partitions_of_set '[^8].|8[^2]')
    for part in $parts; do
        norvoPartimageClone "$folder" "$part" "$prefix$part.bz2"
    done
}

# restore_image PART: the only image of the set selected that is written back.
restore_image() {
    norvoPartimageRestore "$folder" "$1" "$prefix$1.bz2.000"
}

restore_table() {
    dd if="${prefix}hdc.mbr" of="$disk" status=none
    norvoRestorePT hdc "${prefix}hdc.sf"
}

# restore_set SERIAL: an extended partition of type f can't be chosen in the window, one of type 5 can.
restore_set() {
    local part parts
    select_set "$1"
    restore_table
    parts=$(partitions_of_set '[^8 ].|8[^2]| [^f]')
    for part in $parts; do
        restore_image "$part"
    done
    parts=$(partitions_of_set 82)
    for part in $parts; do
        mkswap -c "/dev/$part" >/dev/null
    done
}

# try_faults: for each line "NAME|FAULT|COMMAND|PATTERN" on standard input, FAULT befalls what the scenario's function
# make_ready has made, and COMMAND fails: with one line on standard error, which fits, and so that the scenario's function
# is_unharmed succeeds. FAULT and COMMAND have blanks between their arguments.
try_faults() {
    local name fault command pattern
    mkdir -p /mnt/disk
    while IFS='|' read -r name fault command pattern; do
        read -ra fault <<<"$fault"
        read -ra command <<<"$command"
        make_ready
        "${fault[@]}"
        check_refusal "$name" "$pattern" "${command[@]}" </dev/null
        is_unharmed || fail "$name: something has changed"
        release_disks
    done
}

# check_refusal NAME PATTERN COMMAND...: the pattern fits exit status and message, as in "65 norvoRestorePT: ...".
check_refusal() {
    local status=0 message=$LAB_OUT/message
    "${@:3}" >/dev/null 2>"$message" || status=$?
    say "$1: $(<"$message")"
    [[ $status -ne 0 ]] || fail "$1: the command reports success"
    [[ $(wc -l <"$message") -eq 1 && "$status $(<"$message")" =~ $2 ]] || fail "$1: this is not the message expected"
}

# release_disks: from what a fault can put them to.
release_disks() {
    local jobs
    mapfile -t jobs < <(jobs -pr)
    [[ ${#jobs[@]} -eq 0 ]] || { kill "${jobs[@]}" && wait; } || true
    swapoff -a
    ! mountpoint -q /mnt/disk || umount /mnt/disk
    losetup -D
    [[ ! -c /dev/mapper/control ]] || dmsetup remove_all
}

# Small disks in the place of the hard disk, on a loop device, whose sectors can be made unreadable. "$target" is the first
# partition, and "$errors" what the commands say.
# shellcheck disable=SC2034 # for the scenarios
target=${disk}1 small_disk=/run/disk errors=/run/errors

# new_disk SIZE: a blank small one, with loop1 before it.
new_disk() {
    release_disks
    rm -f "$small_disk"
    truncate -s "$1" "$small_disk"
    losetup -P /dev/loop1 "$small_disk"
    use_as_disk loop1
}

# make_partitions: as for make_disk, on a new disk.
make_partitions() { # SIZE
    new_disk "$1"
    sfdisk -q --no-reread "$disk"
    partx -u "$disk"
    use_as_disk loop1
}

# break_sectors NUMBER COUNT...: these sectors of the disk, in order, can't be read, until mend_sectors.
break_sectors() {
    local end=0 last table=""
    last=$(blockdev --getsz /dev/loop1)
    while [[ $# -gt 0 ]]; do
        table+="$end $(($1 - end)) linear /dev/loop1 $end"$'\n'"$1 $2 error"$'\n'
        end=$(($1 + $2))
        shift 2
    done
    ((end == last)) || table+="$end $((last - end)) linear /dev/loop1 $end"
    dmsetup create bad <<<"$table"
    losetup -P --direct-io=on /dev/loop0 /dev/mapper/bad
    use_as_disk loop0
}

mend_sectors() {
    losetup -d /dev/loop0
    dmsetup remove bad
    use_as_disk loop1
}

# says PATTERN: on standard error, the command before.
says() {
    grep -q "$1" "$errors"
}

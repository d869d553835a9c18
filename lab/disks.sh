# shellcheck shell=bash
# SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
# SPDX-License-Identifier: GPL-2.0-or-later

# Part of lib.sh: making, filling, listing and wiping the lab's disks. Never outside the lab: the names are fixed.

# shellcheck disable=SC2034 # for the scenarios
readonly rev=/dev/hdb disk=/dev/hdc rev_mount=/mnt/rev

# format_rev [BLOCKS]: UDF, as the Rev manager makes it, or on a disk of so many blocks of 512 bytes.
format_rev() {
    mkudffs "$rev" "$@" >/dev/null
}

mount_rev() {
    mount -t udf "$rev" "$rev_mount"
}

# empty_drive: leaves no disk in the REV drive: one that the virtual machine lacks.
empty_drive() {
    rm "$rev"
    mknod "$rev" b 98 32
}

# is_mounted: the REV disk, by the kernel's own list.
is_mounted() {
    grep -q '^/dev/hdb /mnt/rev udf rw' /proc/self/mounts
}

is_unmounted() {
    ! grep -q '^/dev/hdb ' /proc/self/mounts
}

# with_mount DEVICE COMMAND...: runs COMMAND in the mounted file system; what it wrote is on the disk afterwards.
with_mount() {
    local device=$1 status
    shift
    mkdir -p /mnt/disk
    mount "$device" /mnt/disk
    pushd /mnt/disk >/dev/null || exit
    "$@"
    status=$? # a failure comes as far as this in a check only
    popd >/dev/null || exit
    umount /mnt/disk
    return "$status"
}

# list_files: a line for each thing in the working directory, with all that a restored file must have in common with
# the first, then the files' hashes and all extended attributes. A folder's size is the file system's own business.
list_files() {
    find . ! -type d -printf '%y %m %U:%G %n %T@ %s %p %l\n' -o -printf '%y %m %U:%G %n %T@ %p\n' | LC_ALL=C sort
    find . -type f -print0 | LC_ALL=C sort -z | xargs -0 -r sha256sum
    find . -print0 | LC_ALL=C sort -z | xargs -0 -r getfattr -h -d -m - -e hex --
}

# make_disk: the hard disk anew, as sfdisk is told on standard input. Behind "#", the line of a partition has what comes
# onto it: a kind of file system with files, "swap", or "random" bytes.
make_disk() {
    local lines line number kind
    mapfile -t lines
    wipe_disk
    printf '%s\n' "${lines[@]%% #*}" | sfdisk -q "$disk"
    head -c 440 /dev/urandom | dd of="$disk" conv=notrunc,fsync status=none
    # A cylinder number as no tool of today writes it.
    printf '\001\001\000' | dd of="$disk" bs=1 seek=447 conv=notrunc,fsync status=none
    for line in "${lines[@]}"; do
        number=${line%%:*} kind=${line#*# }
        [[ $kind == "$line" ]] || make_content "$disk$number" "$kind"
    done
}

make_content() { # DEVICE KIND
    case $2 in
    random) head -c 1M /dev/urandom | dd of="$1" bs=512 seek=100 conv=notrunc,fsync status=none ;;
    swap) mkswap "$1" ;;
    ntfs) mkfs.ntfs -q -f "$1" 2>/dev/null ;;
    vfat) mkfs.vfat "$1" ;;
    ext4) mkfs.ext4 -q -b 4096 "$1" ;; # partclone takes long for many blocks; ext2 and ext3 have the small ones
    *) "mkfs.$2" -q "$1" ;;
    esac >/dev/null
    [[ $2 != random && $2 != swap ]] || return 0
    with_mount "$1" plain_files
    [[ $2 == vfat || $2 == ntfs ]] || with_mount "$1" make_oddities
}

# take_stock NAME NUMBER...: lists in $LAB_OUT/NAME of what a restored disk must have in common with the first: boot
# sector, partition table, signatures (of both kinds of table, stale ones included), and what is on these partitions.
take_stock() {
    local out=$LAB_OUT/$1 number
    shift
    rm -rf "$out"
    mkdir "$out"
    head -c 512 "$disk" | sha256sum >"$out/boot-sector"
    sfdisk --dump "$disk" >"$out/partition-table"
    wipefs "$disk" >"$out/signatures"
    for number in "$@"; do
        if [[ -n $(type_of "$number") ]]; then
            blkid -p "$disk$number" >"$out/hdc$number"
            with_mount "$disk$number" list_files >>"$out/hdc$number"
        else
            sha256sum <"$disk$number" >"$out/hdc$number"
        fi
    done
}

# check_stock TEXT NAME NUMBER...: what take_stock finds on these is what it kept by that name.
check_stock() {
    take_stock after "${@:3}"
    check "$1" diff -r "$LAB_OUT/$2" "$LAB_OUT/after"
}

# type_of NUMBER: of what is on that partition.
type_of() {
    blkid -p -o value -s TYPE "$disk$1"
}

# pick_files MEGABYTES FOLDER...: paths, with a NUL after each, of files from 20 kB to 16 MB in the folders, in the
# order of their names, until they have this size together. What only the host's root may read is left out.
pick_files() {
    local megabytes=$1
    shift
    { find "$@" -xdev -type f -size +20k -size -16384k -readable -printf '%s %p\0' 2>/dev/null || true; } |
        LC_ALL=C sort -z -k 2 |
        awk -v RS='\0' -v ORS='\0' -v most="$((megabytes * 1000000))" \
            '{ size += $1; if (size > most) next; sub(/^[0-9]+ /, ""); print }'
}

# copy_files: copies the paths on standard input, with a NUL after each, with their folders to the working directory.
copy_files() {
    tar -C / --null --verbatim-files-from -T - -P --transform 's,^/*,,' -cf - | tar -xpf -
}

plain_files() {
    mkdir -p 'Program Files/empty'
    printf 'text\r\n' >'Program Files/Größe.txt'
    touch -d '2001-02-03 04:05:06 UTC' 'Program Files/Größe.txt'
    head -c 1M /dev/urandom >data.bin
}

# make_oddities: one of each thing that an image must not lose.
make_oddities() {
    mkdir -m 2750 odd 'odd/empty folder'
    printf 'old' >odd/old && touch -d '1999-12-31 23:59:58.123456789 UTC' odd/old
    ln odd/old odd/hard-link
    ln -s 'nowhere at all' odd/symbolic-link
    printf '#!/bin/sh\n' >odd/setuid && chmod 4755 odd/setuid
    printf 'x' >$'odd/\303\251t\303\251 \001 name' && chown 1234:5678 $'odd/\303\251t\303\251 \001 name'
    truncate -s 5M odd/sparse && printf 'end' >>odd/sparse
    mkfifo odd/fifo
    mknod odd/device c 1 3
    setfattr -n user.note -v 'kept' odd/old
    setfattr -n trusted.note -v 'kept too' odd
}

# load_mapper [MODULE...]: for dmsetup, and further modules of the kernel's. There is no udev in the lab.
load_mapper() {
    modprobe -a dm_mod "$@"
    export DM_DISABLE_UDEV=1
}

# use_as_disk NAME: the hard disk's names lead to this device of the kernel's and its partitions, also after a partition
# has got another number, as it does where it comes back before the system has done with the one that was there.
use_as_disk() {
    local entry number
    rm -f "$disk"*
    for entry in "/sys/class/block/$1" "/sys/class/block/$1/$1"*; do
        number=''
        [[ ! -e $entry/partition ]] || number=$(<"$entry/partition")
        [[ -e $entry/dev ]] || continue
        ln -s "${entry##*/}" "$disk$number"
    done
}

# wipe_disk [SIZE]: nothing of what was on the hard disk is left, also beyond its partition table; of this much, it is
# looked at as well.
wipe_disk() {
    blkdiscard -f "$disk" 2>/dev/null # it tells that it was forced
    blockdev --rereadpt "$disk"
    cmp -n "${1:-32M}" "$disk" /dev/zero
}

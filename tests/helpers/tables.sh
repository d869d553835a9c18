#!/bin/bash
# SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
# SPDX-License-Identifier: GPL-2.0-or-later

# norvoClonePT and norvoRestorePT: tables there and back, and what must leave the disk as it was.

# shellcheck source-path=SCRIPTDIR source=fixture.sh
. "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/fixture.sh"

# A DOS table with an empty slot, logical partitions and starts of the old kind; a GPT with a gap in its numbers.
declare -A scripts lines
scripts[dos]='label: dos
label-id: 0x1234abcd
start=63, size=40897, type=83, bootable
start=40960, size=20480, type=82
start=61440, size=307200, type=f
start=63488, size=40960, type=b
start=106496, size=262144, type=83'
scripts[gpt]='label: gpt
first-lba: 34
start=34, size=2014, type=21686148-6449-6E6F-744E-656564454649
start=2048, size=40960, type=U, name="EFI, bootable"
start=43008, size=40960, type=L, attrs="LegacyBIOSBootable"
9 : start=90112, size=40960, type=S'

lines[dos]='/dev/DISKp1 : start=       63, size=    40897, Id=83, bootable
/dev/DISKp2 : start=    40960, size=    20480, Id=82
/dev/DISKp3 : start=    61440, size=   307200, Id= f
/dev/DISKp4 : start=        0, size=        0, Id= 0
/dev/DISKp5 : start=    63488, size=    40960, Id= b
/dev/DISKp6 : start=   106496, size=   262144, Id=83'
lines[gpt]='/dev/DISKp1 : start=       34, size=     2014, Id=da
/dev/DISKp2 : start=     2048, size=    40960, Id=ef
/dev/DISKp3 : start=    43008, size=    40960, Id=83, bootable
/dev/DISKp9 : start=    90112, size=    40960, Id=82'

# table_of DEVICE: its dump without what belongs to the disk and not to the table.
table_of() {
    sfdisk --dump "$1" | sed -e '/^device:/d' -e '/^last-lba:/d' -e 's|^/dev/loop[0-9]*p||' -e 's/  */ /g'
}

# save KIND: a disk with that table, with boot code and with bytes in the boot sector that sfdisk would not write: the
# cylinder numbers of a DOS partition, the signature of a GPT disk. Leaves KIND.sf, KIND.mbr and KIND.table.
save() {
    new_disk "$1" 200M
    head -c 440 /dev/urandom | dd of="$device" conv=notrunc status=none
    sfdisk -q --no-reread --no-tell-kernel "$device" <<<"${scripts[$1]}"
    printf '\1\2\3' | dd of="$device" bs=1 seek="$([[ $1 == dos ]] && printf 447 || printf 440)" status=none
    dd if="$device" of="$scratch/$1.mbr" bs=512 count=1 status=none
    printf 'old\n' >"$scratch/$1.sf"
    expect "save $1" 0 '' norvoClonePT "$disk" "$scratch/$1.sf"
    table_of "$device" >"$scratch/$1.table"
    check "lines of $1" equal "${lines[$1]}" "$(grep '^/' "$scratch/$1.sf" | sed "s/$disk/DISK/")"
}

# restored WHAT KIND FILE KEPT: the boot sector, then the table, go onto $device; everything must be as saved, a file
# system inside a partition of the new table and the first KEPT bytes included.
restored() {
    local what=$1 kind=$2 file=$3 kept=$4 signatures=dos start
    [[ $kind == dos ]] || signatures='PMBR gpt gpt'
    start=$([[ $kind == dos ]] && printf 106496 || printf 43008)
    mkfs.ext4 -q -E offset=$((start * 512)) "$image" 10M 2>/dev/null
    dd if="$scratch/$kind.mbr" of="$device" conv=notrunc status=none
    expect "$what" 0 '' norvoRestorePT "$disk" "$file"
    check "$what: table" equal "$(<"$scratch/$kind.table")" "$(table_of "$device")"
    check "$what: boot sector" cmp -n "$kept" "$scratch/$kind.mbr" "$device"
    check "$what: no complaint" equal "" "$(sfdisk --dump "$device" 2>&1 >/dev/null)"
    check "$what: signatures" equal "$signatures" "$(wipefs --noheadings -O TYPE "$device" | sort | xargs)"
    check "$what: file system in a partition" e2fsck -fn "$image?offset=$((start * 512))" >/dev/null 2>&1
    while read -r number start; do
        check "$what: kernel knows $number" equal "$start" "$(cat "/sys/class/block/${disk}p$number/start")"
    done < <(sed -nE "s|^/dev/${disk}p([0-9]+) : start= *([0-9]+),.*|\1 \2|p" <(sfdisk --dump "$device"))
    partx -d "$device"
}

save dos
save gpt
grep '^/' "$scratch/dos.sf" | sed -e 's/= */=/g' -e 's/$/\r/' >"$scratch/lines.sf" # as another tool might write it

new_disk blank 200M
restored "DOS onto a blank disk" dos "$scratch/dos.sf" 512
restored "GPT onto a DOS disk" gpt "$scratch/gpt.sf" 512
restored "DOS onto a GPT disk" dos "$scratch/dos.sf" 512
new_disk larger 300M
mkfs.ext4 -q "$device" # no table at all, but signatures
restored "GPT onto a larger disk with a file system" gpt "$scratch/gpt.sf" 440
restored "DOS from the lines alone" dos "$scratch/lines.sf" 512

# The signature of a btrfs that took the whole disk lies inside the first partition, which nobody asked to change.
new_disk whole 200M
mkfs.btrfs -q "$device" >/dev/null
first_partition() {
    dd if="$image" iflag=skip_bytes,count_bytes skip=32256 count=20M bs=1M status=none
}
first_partition >"$scratch/first"
expect "DOS onto a disk with a btrfs" 0 '' norvoRestorePT "$disk" "$scratch/dos.sf"
check "DOS onto a disk with a btrfs: first partition" cmp "$scratch/first" <(first_partition)
partx -d "$device"

# What must be refused: what is wrong, status, part of the message, command that makes the file $bad.
good=$scratch/dos.sf bad=$scratch/bad.sf
new_disk target 200M
sfdisk -q --no-reread --no-tell-kernel "$device" <<<$'label: gpt\nsize=40M\nsize=40M'
add_partitions
before=$(hash_of "$image")
while IFS='|' read -r what status text command; do
    good=$good bad=$bad lines=$scratch/lines.sf bash -c "$command"
    expect "$what" "$status" "$text" norvoRestorePT "$disk" "$bad"
    check "$what: disk untouched" equal "$before" "$(hash_of "$image")"
done <<'TABLE'
no file|65|no such file|rm -f "$bad"
empty file|65|empty|: >"$bad"
last line missing|65|cut or damaged|head -n -1 "$good" >"$bad"
last line break missing|65|cut or damaged|head -c -1 "$good" >"$bad"
only the lines of the windows left|65|cut or damaged|head -n 14 "$good" >"$bad"
one digit changed|65|cut or damaged|sed 's/size=       20480/size=       20481/' "$good" >"$bad"
only lines, one slot missing|65|partition 4 is missing|sed 4d "$lines" >"$bad"
only lines, cut in the last|65|last line is cut|head -c -3 "$lines" >"$bad"
only lines, cut after the second|65|partition 3 is missing|head -n 2 "$lines" >"$bad"
only lines, field missing|65|not a partition line|sed '2s/size=[^,]*,//' "$lines" >"$bad"
only lines, overlapping|75|does not fit|sed '2s/start=[0-9]*/start=100/' "$lines" >"$bad"
only lines of a GPT disk|75|names a GPT|sed '1s/Id=83/Id=ee/' "$lines" >"$bad"
beyond the end of the disk|75|too small|sed '6s/size=[0-9]*/size=900000/' "$lines" >"$bad"
TABLE

mkfs.ext4 -q "${device}p1" && mkdir "$scratch/mounted" && mount "${device}p1" "$scratch/mounted"
expect "mounted partition" 75 "mounted for writing at $scratch/mounted" norvoRestorePT "$disk" "$good"
umount "$scratch/mounted"
mkswap -q "${device}p2" && swapon "${device}p2"
expect "active swap" 75 "used as swap" norvoRestorePT "$disk" "$good"
swapoff "${device}p2"
check "in use: table untouched" equal 2 "$(sfdisk --dump "$device" | grep -c '^/')"
new_disk sectors 200M -b 4096
expect "other sector size" 75 "sectors of 4096 bytes" norvoRestorePT "$disk" "$good"
check "other sector size: disk untouched" cmp -s "$image" <(head -c 200M /dev/zero)

# What cannot be saved leaves no file, not even an old one.
cp "$good" "$bad"
expect "disk without a table" 75 "no partition table" norvoClonePT "$disk" "$bad"
check "disk without a table: no file" equal "" "$(compgen -G "$bad*")"
expect "no disk" 66 "no such block device" norvoClonePT nodisk "$bad"
expect "wrong arguments" 64 "usage: norvoClonePT DISK FILE" norvoClonePT "$disk"
finish

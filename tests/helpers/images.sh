#!/bin/bash
# SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
# SPDX-License-Identifier: GPL-2.0-or-later

# norvoPartimageClone and norvoPartimageRestore: file systems there and back, and what must not pass for an image or
# touch a partition.

# shellcheck source-path=SCRIPTDIR source=fixture.sh
. "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/fixture.sh"

export base='A 1_20070302_hdc1.bz2'
mkdir "$scratch/set" "$scratch/one" "$scratch/two" "$scratch/full"
set=$scratch/set

# fill DEVICE: a tree with what a careless copy loses.
fill() {
    mount "$1" "$scratch/one"
    head -c 9M /dev/urandom >"$scratch/one/random"
    truncate -s 40M "$scratch/one/sparse" && printf end >>"$scratch/one/sparse"
    ln "$scratch/one/random" "$scratch/one/hard link"
    ln -s /nowhere "$scratch/one/link"
    chown 1234:4321 "$scratch/one/sparse" && chmod 4711 "$scratch/one/sparse"
    touch -hd '2007-03-02 01:02:03' "$scratch/one/link"
    umount "$scratch/one"
}

# tree_of DEVICE: names, owners, modes, times, links and hashes.
tree_of() {
    mount -o ro "$1" "$scratch/two"
    (cd "$scratch/two" && find . -printf '%p %y %U:%G %m %n %s %T@ %l\n' -type f -exec sha256sum {} \; | sort)
    umount "$scratch/two"
}

# round_trip KIND COMPARED COMMAND...: onto another partition, where signatures of something else are left. The whole devices are equal
# where "blocks" is compared, as unused blocks are zero here.
round_trip() {
    local kind=$1 compared=$2 saved before
    shift 2
    new_disk "$kind" 300M
    saved=$device
    "$@" "$saved" >/dev/null 2>&1
    [[ $compared != tree ]] || fill "$saved"
    expect "save $kind" 0 '' norvoPartimageClone "$set" "$disk" "$kind"
    new_disk "$kind-target" 300M
    # A RAID left its signature where the image writes nothing: near the end.
    [[ $compared == blocks ]] || printf '\xfc\x4e\x2b\xa9\0\0\0\0\x5a\0\0\0' |
        dd of="$device" bs=64K seek=4799 conv=notrunc status=none
    expect "restore $kind" 0 '' norvoPartimageRestore "$set" "$disk" "$kind.000"
    check "restored $kind: one kind of contents" equal "$(blkid -p -s TYPE -s UUID -o value "$saved" || true)" \
        "$(blkid -p -s TYPE -s UUID -o value "$device" || true)"
    if [[ $compared == blocks ]]; then
        check "restored $kind: blocks" cmp "$saved" "$device"
    else
        before=$(tree_of "$saved")
        umount "$scratch/one" 2>/dev/null || true
        [[ $kind != xfs ]] || xfs_admin -U generate "$saved" >/dev/null
        check "restored $kind: files" equal "$before" "$(tree_of "$device")"
    fi
}

random_blocks() {
    head -c 5M /dev/urandom | dd of="$1" bs=1M seek=100 conv=notrunc iflag=fullblock
}

round_trip ext4 tree mkfs.ext4 -q
round_trip xfs tree mkfs.xfs -q
round_trip vfat blocks mkfs.vfat -F 32
round_trip ntfs blocks mkfs.ntfs -qFf
round_trip unknown blocks random_blocks
new_disk btrfs 300M # the kernel takes two btrfs of one identifier for the same: the original goes first
mkfs.btrfs -q "$device" >/dev/null && fill "$device"
btrfs_tree=$(tree_of "$device")
expect "save btrfs" 0 '' norvoPartimageClone "$set" "$disk" btrfs
mkfs.ext4 -qF "$device"
expect "restore btrfs" 0 '' norvoPartimageRestore "$set" "$disk" btrfs.000
check "restored btrfs: one kind of contents" equal btrfs "$(blkid -p -s TYPE -o value "$device")"
check "restored btrfs: files" equal "$btrfs_tree" "$(tree_of "$device")"

# What cannot be saved leaves nothing under the image's name, not even an earlier image.
# refused WHAT STATUS TEXT PART
refused() {
    touch "$set/$base.000" "$set/$base.001" "$set/$base.sum"
    expect "save $1" "$2" "$3" norvoPartimageClone "$set" "$4" "$base"
    check "save $1: no file" equal "" "$(compgen -G "$set/$base*")"
}

new_disk source 300M
mkfs.ext4 -q "$device" && mount "$device" "$scratch/one"
head -c 9M /dev/urandom >"$scratch/one/file" && sync -f "$scratch/one"
refused "mounted for writing" 75 "mounted for writing at $scratch/one" "$disk"
cp "$image" "$scratch/unclean.img"
mount -o remount,ro "$scratch/one"
expect "save mounted read-only" 0 '' norvoPartimageClone "$set" "$disk" "$base"
umount "$scratch/one"
new_disk unclean 300M
refused "unclean ext4" 75 "e2fsck -f $device" "$disk"
mkfs.xfs -qf "$device" && mount "$device" "$scratch/one" && touch "$scratch/one/file" && sync -f "$scratch/one"
cp "$image" "$scratch/unclean-xfs.img" && umount "$scratch/one"
new_disk unclean-xfs 300M
refused "unclean xfs" 75 "xfs_repair $device" "$disk"
mkswap -q "$device" && swapon "$device"
refused "active swap" 75 "used as swap" "$disk"
swapoff "$device"
random_blocks "$device" 2>/dev/null && truncate -s 50M "$image"
refused "unreadable blocks" 74 "bad sectors" "$disk"
truncate -s 300M "$image"
mount -t tmpfs -o size=1M none "$scratch/full"
random_blocks "$device" 2>/dev/null
expect "full disk" 74 "No space left" norvoPartimageClone "$scratch/full" "$disk" "$base"
check "full disk: no file" equal "" "$(ls -A "$scratch/full")"
expect "no such partition" 66 "no such block device" norvoPartimageClone "$set" nodisk1 "$base"

timeout -s TERM 1 norvoPartimageClone "$set" "$disk" stopped >/dev/null 2>&1 || true
check "stopped: no file" equal "" "$(compgen -G "$set/stopped*")"

# The good image for what follows, in one volume and as another tool would split it, without a record.
new_disk good 300M
mkfs.ext4 -q "$device" && fill "$device"
touch "$set/$base.001"
expect "save again" 0 '' norvoPartimageClone "$set" "$disk" "$base"
check "save again: the second volume of an earlier image is gone" test ! -e "$set/$base.001"
good_tree=$(tree_of "$device")
mkdir "$scratch/split"
split -d -a 3 -b 4M "$set/$base.000" "$scratch/split/$base."
lbzip2 -dc "$set/$base.000" >"$scratch/stream"
head -c 8M "$scratch/stream" | lbzip2 -c >"$scratch/stream-cut"
new_disk target 300M
mkfs.xfs -q "$device"
target=$disk before=$(hash_of "$image")
while IFS=';' read -r what status text from command; do
    rm -rf "$scratch/bad" && cp -r "$scratch/$from" "$scratch/bad"
    (cd "$scratch/bad" && bash -c "$command")
    expect "$from, $what" "$status" "$text" norvoPartimageRestore "$scratch/bad" "$target" "$base.000"
    check "$from, $what: partition untouched" equal "$before" "$(hash_of "$image")"
done <<'TABLE'
one byte changed;65;damaged;set;printf X | dd of="$base.000" bs=1 seek=3000000 conv=notrunc status=none
cut;65;not whole;set;truncate -s -1 "$base.000"
cut at the end of a stream;65;not whole;set;cp ../stream-cut "$base.000"
record cut;65;record of the image is damaged;set;head -n -1 "$base.sum" >cut && mv cut "$base.sum"
first volume missing;65;first volume;set;rm "$base.000"
not an image;65;not an image;set;rm "$base.sum" && lbzip2 -c "../set/vfat.sum" >"$base.000"
one byte changed;65;damaged or cut;split;printf X | dd of="$base.001" bs=1 seek=30000 conv=notrunc status=none
last volume missing;65;damaged or cut;split;rm "$base.002"
middle volume missing;65;.001: this volume;split;rm "$base.001"
cut at the end of a stream;65;damaged or cut;split;rm "$base".* && cp ../stream-cut "$base.000"
TABLE
mount "$device" "$scratch/one"
expect "mounted" 75 "mounted for writing at" norvoPartimageRestore "$set" "$disk" "$base.000"
umount "$scratch/one"
new_disk small 299M
expect "too small" 75 "too small" norvoPartimageRestore "$set" "$disk" "$base.000"
expect "split" 0 '' norvoPartimageRestore "$scratch/split" "$target" "$base.000"
check "split: files" equal "$good_tree" "$(tree_of "/dev/$target")"

# An extended partition: its image says that it holds nothing, and nothing is ever written into the container.
new_disk logical 50M
sfdisk -q --no-reread --no-tell-kernel "$device" <<<$'label: dos\n,,5\n,20M'
add_partitions
before=$(hash_of "$image")
expect "save extended" 0 '' norvoPartimageClone "$set" "${disk}p1" extended
check "save extended: said" grep -q 'extended partition' "$scratch/out"
expect "restore extended" 0 '' norvoPartimageRestore "$set" "$target" extended.000
expect "image into the container" 75 "extended partition" norvoPartimageRestore "$set" "${disk}p1" "$base.000"
check "extended: disk untouched" equal "$before" "$(hash_of "$image")"
check "extended: other partition untouched" equal "$good_tree" "$(tree_of "/dev/$target")"
finish

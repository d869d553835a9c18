# shellcheck shell=bash
# SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
# SPDX-License-Identifier: GPL-2.0-or-later

# Read by the restore scenarios: making and writing back an image set with the commands and arguments of the program,
# without its windows.

# shellcheck source-path=SCRIPTDIR source-path=SCRIPTDIR/.. source=lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

readonly set_date=20260203

mount_rev() {
    format_rev
    mount -t udf "$rev" "$rev_mount"
}

# select_set SERIAL: sets $folder and $prefix, and the working directory, where there is such a folder.
select_set() {
    folder=$rev_mount/$1/$set_date prefix=$1_${set_date}_
    mkdir -p "$folder"
    cd "$folder"
}

# partitions_of_set TYPES: the names of the partitions in use in the set's partition table whose type fits, in order.
partitions_of_set() {
    sed -nE "/size= +0,/d; s#^/dev/([^ ]+) : .*, Id=($1)(,.*)?\$#\1#p" "${prefix}hdc.sf"
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

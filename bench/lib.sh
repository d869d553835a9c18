# shellcheck shell=bash
# SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
# SPDX-License-Identifier: GPL-2.0-or-later

# Read by the scripts in this folder: disks of real files in image files, in a mount name space and a /dev of their own,
# and what a chain of commands takes. Everything is gone when the script ends.

# shellcheck source-path=SCRIPTDIR source=../scripts/lib.sh
. "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/../scripts/lib.sh"

# shellcheck disable=SC2034 # for the scripts
readonly bench_packages=(util-linux time e2fsprogs tar python3-minimal)
[[ -n ${NORVO_BENCH_INSIDE:-} ]] || BUILD_DIR=$BUILD_DIR-bench
loops=()

# build_bench: installs what is needed and builds what is measured.
build_bench() {
    need_packages "${build_packages[@]}" "${run_packages[@]}" "${bench_packages[@]}"
    build -DCMAKE_BUILD_TYPE=RelWithDebInfo -DBUILD_BENCHMARKS=ON -DBUILD_TESTING=OFF
    export BUILD_DIR NORVO_BENCH_INSIDE=yes
}

# enter_bench ARGUMENT...: installs, builds, and runs the script again with these where nobody else sees its mounts.
enter_bench() {
    [[ -z ${NORVO_BENCH_INSIDE:-} ]] || return 0
    [[ $EUID -eq 0 ]] || fail 'this makes loop devices and mounts file systems: run it as root'
    build_bench
    exec unshare --mount --propagation private "$0" "$@"
}

# begin_bench FOLDER: $memory is a folder in memory, $wrappers the one of programs whose processor time is noted.
begin_bench() {
    local name
    mount -t tmpfs -o size=90% norvo-bench /mnt
    memory=/mnt/memory wrappers=/mnt/wrappers on_disk=$(mktemp -d "$1/norvo-bench-XXXXXX")
    mkdir "$memory" "$wrappers" /mnt/{files,dev,host-dev}
    mount --bind /dev /mnt/host-dev
    trap end_bench EXIT
    trap 'exit 130' INT
    trap 'exit 143' TERM
    for name in partclone.ext4 partclone.restore lbzip2 pbzip2 bzip2 fsarchiver partimage dd usedblocks; do
        printf '#!/bin/bash\nexec /usr/bin/time -q -a -o /mnt/stages -f "%s %%U %%S %%M" %q "$@"\n' \
            "$name" "$(program "$name")" >"$wrappers/$name"
    done
    watch_partclone
    chmod +x "$wrappers"/*
}

# watch_partclone: notes the processor time of the partclone.extfs of a save, which is killed after its last block: `time`
# would be killed in its place. A tenth of a second of it may be missing.
watch_partclone() {
    cat >"$wrappers/partclone.extfs" <<'EOF'
#!/bin/bash
exec {idle}<> <(:)
{
    exec >/dev/null 2>&1
    while read -r stat <"/proc/$$/stat"; do
        read -r -a fields <<<"${stat##*)}"
        read -r -t 0.1 -u "$idle"
    done
    echo partclone.extfs "$((fields[11] + fields[12]))e-2" 0 0 >>/mnt/stages
} &
exec "$(type -aP partclone.extfs | tail -n 1)" "$@"
EOF
}

program() {
    PATH=$BUILD_DIR/bin:$PATH command -v "$1" || say /bin/false
}

# shellcheck disable=SC2317 # called by the trap
end_bench() {
    local loop
    cd /
    for loop in "${loops[@]}"; do
        losetup -d "$loop" || true
    done
    rm -rf -- "$on_disk"
}

# make_disk IMAGE SIZE TYPE...: an image file with a partition of SIZE for each of the types (ext4, ext3), on the loop
# device $loop, made with $mkfs_options. Before cover_devices.
make_disk() {
    local image=$1 size=$2 number=0 type
    truncate -s "$((${size%M} * ($# - 2) + 2))M" "$image"
    { say 'label: dos' && for type in "${@:3}"; do say "size=$size, type=83"; done; } | sfdisk -q "$image"
    loop=$(losetup -f --show --direct-io=on "$image" 2>/dev/null || losetup -f --show "$image")
    loops+=("$loop")
    partx -d "$loop" 2>/dev/null || true
    partx -a "$loop"
    udevadm settle 2>/dev/null || true
    for type in "${@:3}"; do
        number=$((number + 1))
        until [[ -b ${loop}p$number ]]; do sleep 0.1; done
        # shellcheck disable=SC2086 # words
        "mkfs.$type" -q -F ${mkfs_options:-} "${loop}p$number"
    done
}

# fill PARTITION MEGABYTES: with files of this machine, in the order of their names.
fill() {
    mount "$1" /mnt/files
    find /usr -xdev -type f -size -50M -printf '%s %p\n' | LC_ALL=C sort -k 2 | awk -v room="$2" '
        (sum += $1) <= room * 1e6 { sub(/^[^ ]* /, ""); print }' >/mnt/list
    { tar -C / -c --no-recursion -T /mnt/list || true; } 2>/dev/null | tar -x -C /mnt/files # one may be gone meanwhile
    umount /mnt/files
}

# cover_devices: from here on /dev is this script's own, with those devices that programs expect and the loop devices.
cover_devices() {
    mount -t tmpfs -o mode=755 norvo-dev /mnt/dev
    cp -a /dev/{null,zero,full,random,urandom,tty,loop*} /mnt/dev
    ln -s /proc/self/fd /mnt/dev/fd
    mount --rbind /mnt/dev /dev
}

# show_disk LOOP: it is /dev/hdc now.
show_disk() {
    local name=${1#/dev/} node
    rm -f /dev/hdc*
    make_node hdc "/sys/block/$name"
    for node in "/sys/block/$name/$name"p*; do
        make_node "hdc${node##*p}" "$node"
    done
}

make_node() {
    local numbers
    IFS=: read -r -a numbers <"$2/dev"
    mknod "/dev/$1" b "${numbers[@]}"
}

# uncompressed PARTITION FILE: its image, with which usedblocks knows the blocks that are in use.
uncompressed() {
    partclone.ext4 -c -q -a 0 -f 1 -L /dev/null -s "$1" -o "$2" -O "$2" >/dev/null 2>&1
}

# check_partition: all that was written back is what was there, the free blocks excepted.
check_partition() {
    blockdev --flushbufs /dev/hdc
    e2fsck -fn /dev/hdc1 >/dev/null 2>&1 || fail 'the partition has come to harm'
}

# measure COMMAND: a line for bash, after which all has to be on the medium; sets $figures to seconds, processor seconds
# (user and system), KiB of the largest process, and the processor seconds of each stage as NAME=SECONDS.
measure() {
    : >/mnt/stages
    blockdev --flushbufs /dev/hdc
    sync
    PATH=$wrappers:$BUILD_DIR/stage/bin:$PATH /usr/bin/time -o /mnt/total -f '%e %U %S %M' \
        bash -c "set -euo pipefail; $1" >/mnt/said 2>&1 || fail "$1: $(tail -n 5 /mnt/said)"
    sleep 0.3 # until partclone's share is noted as well
    # shellcheck disable=SC2034 # for the scripts
    figures=$(awk 'NR == FNR { print $1, $2 + $3, $4; own = $2 + $3; next }
        { sum[$1] += $2 + $3; own -= $2 + $3 }
        END { for (name in sum) printf "%s=%.1f,", name, sum[name]; printf "own=%.1f\n", own }' \
        /mnt/total /mnt/stages | paste -s -d ' ')
}

# forget FILE: its contents leave memory, where it is on a disk.
forget() {
    dd if="$1" iflag=nocache count=0 status=none
}

# shellcheck shell=bash
# SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
# SPDX-License-Identifier: GPL-2.0-or-later

# Read by the scripts that work with an emulated PC, which needs nothing of the processor: its drives, its keyboard and
# mouse, and its screen, which is read as a person would. They set $work, a folder for themselves, and $out, one for what
# is left of them. One PC runs at a time.

# shellcheck disable=SC2034 # for the scripts
readonly screen_packages=(imagemagick tesseract-ocr)
work='' out='' pc=''
enlarged=2
exchanges=0
screenshots=0

# start_pc SECONDS OPTION...: a PC that runs no longer than that, with nothing but what the options say.
start_pc() {
    rm -f "$work"/monitor.{in,out} "$work/screen.ppm"
    mkfifo "$work"/monitor.{in,out}
    exec {monitor}<>"$work/monitor.in" {answers}<>"$work/monitor.out"
    timeout "$1" qemu-system-x86_64 -nodefaults -display none -no-reboot \
        -chardev "pipe,id=monitor,path=$work/monitor" -mon chardev=monitor,mode=control "${@:2}" &
    pc=$!
    qmp qmp_capabilities
}

pc_runs() {
    kill -0 "$pc" 2>/dev/null
}

# wait_off SECONDS: until the PC has been switched off.
wait_off() {
    timeout "$1" tail -f /dev/null --pid="$pc" || failed 'the PC is not off in time'
    end_pc
}

# end_pc: whatever it does.
end_pc() {
    [[ -n $pc ]] || return 0
    kill "$pc" 2>/dev/null || true
    wait "$pc" || true
    pc=''
}

# qmp COMMAND [ARGUMENTS]: has the emulator do it; sets $answer.
qmp() {
    local arguments=${2:-'{}'}
    answer=''
    exchanges=$((exchanges + 1))
    printf '{"execute":"%s","arguments":%s,"id":%d}\n' "$1" "$arguments" "$exchanges" >&"$monitor"
    until [[ $answer == *"\"id\": $exchanges"[^0-9]* ]]; do
        read -r -t 60 -u "$answers" answer || failed "the emulator does not answer to $1"
    done
    [[ $answer != *'"error":'* ]] || failed "the emulator does not do $1 $arguments: $answer"
}

# monitor_line LINE: the same for a line as a person types it there.
monitor_line() {
    qmp human-monitor-command "{\"command-line\":\"$1\"}"
    [[ $answer == *'"return": ""'* ]] || failed "the emulator does not do $1: $answer"
}

# failed TEXT: the test is over; what is on the screen is kept.
failed() {
    printf 'FAILED: %s\n' "$1" >&2
    if pc_runs && [[ -e $work/screen.ppm ]]; then
        convert "$work/screen.ppm" "$out/failed.png"
        cut -f 12 "$work/words.tsv" | grep -v '^ *$' >"$out/failed.txt" || true
    fi
    exit 1
}

# check TEXT COMMAND...
check() {
    "${@:2}" || failed "$1"
    say "ok: $1"
}

# keys KEY...: each as alt-d, down, ret.
keys() {
    local key
    for key in "$@"; do
        monitor_line "sendkey $key"
        sleep 0.2 # a key lasts half of this
    done
}

# type_text TEXT: of small letters, digits and what is named here, on an American keyboard.
readonly -A key_names=([' ']=spc ['-']=minus ['/']=slash ['>']=shift-dot ['S']=shift-s)
type_text() {
    local place character
    for ((place = 0; place < ${#1}; place++)); do
        character=${1:place:1}
        keys "${key_names[$character]:-$character}"
    done
}

# look [OPTION...]: leaves the words on the screen in $work/words.tsv. A screen that has not changed is read again only
# when options are there, of convert, for what is hard to read.
# shellcheck disable=SC2120 # the scripts hand some over
look() {
    local width
    qmp screendump "{\"filename\":\"$work/new.ppm\"}"
    ! cmp -s "$work/new.ppm" "$work/screen.ppm" || [[ $# -gt 0 ]] || return 0
    mv "$work/new.ppm" "$work/screen.ppm"
    # Letters as small as on a usual screen are not told apart.
    { read -r _ && read -r width _; } <"$work/screen.ppm"
    enlarged=$((width > 1920 ? 1 : 2))
    convert "$work/screen.ppm" -colorspace gray -resize $((enlarged * 100))% "$@" "$work/screen.pgm"
    OMP_THREAD_LIMIT=1 tesseract "$work/screen.pgm" "$work/words" --psm 11 tsv >"$work/tesseract.log" 2>&1
    [[ $# -eq 0 ]] || rm "$work/screen.ppm"
}

# find_text PATTERN: whether words stand on the screen that an expression for all of them fits; their middle is left in
# $x and $y.
find_text() {
    read -r x y < <(awk -F '\t' -v pattern="$1" -v enlarged="$enlarged" '
        NR > 1 && $12 ~ /[^ ]/ {
            first[++count] = length(text) + 1
            text = text $12 " "
            row[count] = $0
        }
        END {
            if (!match(text, pattern))
                exit 1
            left = top = 1e9
            for (i = 1; i <= count; i++) {
                split(row[i], place, "\t")
                if (first[i] >= RSTART + RLENGTH || first[i] + length(place[12]) <= RSTART)
                    continue
                left = place[7] < left ? place[7] : left
                top = place[8] < top ? place[8] : top
                right = place[7] + place[9] > right ? place[7] + place[9] : right
                bottom = place[8] + place[10] > bottom ? place[8] + place[10] : bottom
            }
            print int((left + right) / 2 / enlarged), int((top + bottom) / 2 / enlarged)
        }' "$work/words.tsv")
}

# wait_for_text SECONDS PATTERN [KEY]: until find_text finds it. The key is pressed now and then.
wait_for_text() {
    local end=$((SECONDS + $1))
    # shellcheck disable=SC2119 # none here
    until look && find_text "$2"; do
        pc_runs || failed "the PC is off; waited for: $2"
        ((SECONDS < end)) || failed "not on the screen after $1 seconds: $2"
        [[ -z ${3:-} ]] || keys "$3"
        sleep 0.5
    done
}

# shows TEXT SECONDS PATTERN
shows() {
    wait_for_text "$2" "$3"
    say "ok: $1"
}

# screenshot NAME: of the screen as it was read last.
screenshot() {
    screenshots=$((screenshots + 1))
    convert "$work/screen.ppm" "$(printf '%s/%02d-%s.png' "$out" "$screenshots" "$1")"
}

# click_text PATTERN [RIGHT DOWN]: with the left button, on these words or so many points away from their middle.
click_text() {
    local width height button='{"type":"btn","data":{"button":"left","down":'
    wait_for_text 60 "$1"
    { read -r _ && read -r width height; } <"$work/screen.ppm"
    mouse "$(place_event x $(((x + ${2:-0}) * 32767 / width))),$(place_event y $(((y + ${3:-0}) * 32767 / height)))"
    mouse "${button}true}}"
    mouse "${button}false}}"
    mouse "$(place_event x 32767)" # covers nothing there
}

place_event() {
    printf '{"type":"abs","data":{"axis":"%s","value":%d}}' "$@"
}

mouse() {
    qmp input-send-event "{\"events\":[$1]}"
    sleep 0.3
}

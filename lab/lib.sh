# shellcheck shell=bash
# SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
# SPDX-License-Identifier: GPL-2.0-or-later

# Read by the scenarios, inside the lab: the operator's hands and eyes, and in disks.sh the disks. Titles are whole
# window titles. Each wait has a bound, and a window titled "Error" that nobody waits for fails the scenario. What the
# program does comes some time after the click: it is waited for, not looked for at once nor after a fixed time.

set -Eeuo pipefail
trap 'printf "FAILED: line %s: %s\n" "$LINENO" "$BASH_COMMAND" >&2' ERR
: "${LAB_OUT:?read inside the lab only: lab/run}"

. "$LAB_DIR/disks.sh"

readonly main_window='Norvo Clone-Restore 1.0.5' held=/run/held
screenshots=0
date -s 12:00 >/dev/null # image sets are named after the day: none may end meanwhile
SECONDS=0

say() {
    printf '%s\n' "$*"
}

fail() {
    printf 'FAILED: %s\n' "$*" >&2
    [[ -z ${DISPLAY:-} ]] || screenshot failed
    exit 1
}

# check TEXT COMMAND...: the scenario goes on only when COMMAND succeeds.
check() {
    local text=$1
    shift
    "$@" || fail "$text"
    say "ok: $text"
}

# wait_until SECONDS TEXT COMMAND...
wait_until() {
    local begin=$SECONDS seconds=$1 text=$2
    shift 2
    until "$@"; do
        ((SECONDS < begin + seconds)) || fail "not in time: $text"
        pause_since "$begin"
    done
}

# pause_since BEGIN: between two looks at what began then. A process takes the machine long to start: looking all the
# time would take half of it from what is waited for.
pause_since() {
    if ((SECONDS < $1 + 5)); then sleep 0.3; else sleep 2; fi
}

# screenshot NAME: the whole screen, numbered in the order taken.
screenshot() {
    local file
    screenshots=$((screenshots + 1))
    printf -v file '%s/%02d-%s.png' "$LAB_OUT" "$screenshots" "$1"
    sleep 0.5 # the windows draw themselves when they come to it
    import -window root "$file"
}

# may_hold COMMAND...: makes hold work on these, in programs started afterwards.
may_hold() {
    local name
    mkdir -p /run/bin
    for name in "$@"; do
        cat >"/run/bin/$name" <<END
#!/bin/bash
while read -r pattern 2>/dev/null <$held && [[ "\$0 \$*" =~ \$pattern ]]; do sleep 0.5; done
exec $(type -P "$name") "\$@"
END
        chmod a+x "/run/bin/$name"
    done
    PATH=/run/bin:$PATH
}

# hold PATTERN: commands whose line fits wait at their beginning, until release.
hold() {
    printf '%s\n' "$1" >"$held.new"
    mv "$held.new" "$held"
}

release() {
    rm "$held"
}

# wait_held: until there is a command that waits.
wait_held() {
    wait_until 900 "a command like $(<"$held")" pgrep -f "^/bin/bash /run/bin/.*$(<"$held")" >/dev/null
}

# start_program ARGUMENT...: its own words go to program.log. Memory that it has freed is filled with a pattern, so that
# what still uses it fails.
start_program() {
    command -v norvoclonerestore >/dev/null || fail "no norvoclonerestore in $LAB_STAGE/bin: build and install it there"
    MALLOC_PERTURB_=165 norvoclonerestore "$@" >>"$LAB_OUT/program.log" 2>&1 &
    program=$!
    wait_window "$main_window" 60
}

# find_window TITLE: leaves the id of the window that can be seen in $window; status 1 where there is none.
find_window() {
    local special='[].*?+(){}|^$\\[]'
    read -r window < <(exec xdotool search --onlyvisible --name "^${1//$special/\\&}\$" 2>/dev/null)
}

# wait_window TITLE [SECONDS]: as find_window, with the keyboard's attention on it, which it can't have while a box is open
# over it.
wait_window() {
    local title=$1 begin=$SECONDS seconds=${2:-60}
    until find_window "$title" && timeout 10 xdotool windowactivate --sync "$window" 2>/dev/null; do
        if [[ $title != Error ]] && find_window Error; then
            fail "an Error box, waiting for the window \"$title\""
        fi
        ((SECONDS < begin + seconds)) || fail "no window \"$title\" to work in after $seconds seconds"
        pause_since "$begin"
    done
}

wait_window_gone() {
    wait_until 60 "the window \"$1\" closes" window_missing "$1"
}

window_missing() {
    ! find_window "$1"
}

# click TITLE X Y: with the left button, at this place of the window without its frame.
click() {
    wait_window "$1"
    xdotool mousemove --window "$window" "$2" "$3" sleep 0.1 click 1
}

# type_text TEXT: into the widget that has the keyboard's attention.
type_text() {
    xdotool type --delay 30 -- "$1"
}

press() {
    xdotool key --delay 50 -- "$@"
}

# message_box CAPTION NAME [SECONDS]: waits for it, keeps a screenshot of it, and presses its only button.
message_box() {
    wait_window "$1" "${3:-60}"
    screenshot "$2"
    press Return
    wait_window_gone "$1"
}

# close_program: as the window manager does when the operator asks it to.
close_program() {
    wait_window "$main_window"
    press alt+F4
    wait_program
}

# wait_program: until it has ended, with success.
wait_program() {
    wait_until 120 "the program ends" program_ended
    wait "$program"
}

program_runs() {
    [[ $(ps -o stat= -p "$program") == [^Z]* ]]
}

program_ended() {
    ! program_runs
}

# led_colour X Y: of the LED around this place of the window that wait_window found last; nothing before it is drawn.
led_colour() {
    local red green
    read -r red green _ < <(import -window "$window" -crop "1x1+$1+$2" -depth 8 rgb:- | od -An -tu1)
    ((red < green + 40)) || echo red
    ((green < red + 40)) || echo green
}

# wait_led X Y COLOUR
wait_led() {
    wait_until 60 "the LED turns $3" led_is "$@"
}

led_is() {
    [[ $(led_colour "$1" "$2") == "$3" ]]
}

# start_clone SERIAL NAME: a clone run from the main window, with a screenshot.
start_clone() {
    click "$main_window" 75 175
    click Clone 250 20
    press ctrl+a
    type_text "$1"
    press Tab
    type_text "$1"
    screenshot "$2-dialog"
    click Clone 375 150
}

# clone_through_windows SERIAL NAME: the same to its end and back.
clone_through_windows() {
    start_clone "$@"
    message_box Finish "$2-finished" 1800
}

# check_report TITLE [SECONDS]: waits until the window beside the program says so in its title.
check_report() {
    wait_until "${2:-60}" "the report says: $1" find_window "$1"
    say "ok: the report says: $1"
}

# start_restore NAME: from the Restore dialog, as it is set, to the output window of the run.
start_restore() {
    screenshot "$1-dialog"
    click Restore 365 340
    wait_window 'Restore output'
}

# finish_restore NAME: from the output window of the run back to the main window.
finish_restore() {
    message_box Finish "$1-finished" 1800
    wait_window 'Restore output'
    screenshot "$1-output"
    click 'Restore output' 365 230
    wait_window_gone 'Restore output'
    check 'the Restore dialog is closed too' window_missing Restore
    wait_until 20 'the keyboard is with the main window, not with the report' has_keyboard "$main_window"
}

# has_keyboard TITLE: without having been given it.
has_keyboard() {
    [[ $(xdotool getactivewindow getwindowname) == "$1" ]]
}

# check_stays_open TITLE: neither the close button in its frame nor the key for it nor its own button closes it.
check_stays_open() {
    click "$1" 365 230
    click "$1" 402 -10
    press alt+F4
    sleep 1
    window_missing "$1" && fail "the window \"$1\" has been closed"
    say "ok: the window \"$1\" can't be closed now"
}

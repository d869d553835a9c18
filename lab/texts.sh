# shellcheck shell=bash
# SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
# SPDX-License-Identifier: GPL-2.0-or-later

# Read by scenarios: the very texts in the program's windows, over the bus through which screen readers get them. Widgets
# are objects on the bus, which keep their names as long as the program runs.

. "$LAB_DIR/lib.sh"

# start_bus: before the program is started.
start_bus() {
    export DBUS_SESSION_BUS_ADDRESS=unix:path=/run/desktop/bus
    dbus-daemon --session --nofork --address="$DBUS_SESSION_BUS_ADDRESS" &
    wait_until 30 'the bus starts' test -S /run/desktop/bus
    # Here Qt looks for the readers' own bus; any will do, and none of their other services is needed.
    xprop -root -f AT_SPI_BUS 8s -set AT_SPI_BUS "$DBUS_SESSION_BUS_ADDRESS"
}

# ask RECEIVER OBJECT METHOD ARGUMENT...: nothing where there is no answer.
ask() {
    dbus-send --session --print-reply=literal --dest="$1" "${@:2}" 2>/dev/null || true
}

# property OBJECT NAME, as in Accessible.Name; without the blanks at its beginning, with those at its end.
property() {
    local answer
    answer=$(ask "$program_on_bus" "$1" org.freedesktop.DBus.Properties.Get \
        "string:org.a11y.atspi.${2%.*}" "string:${2#*.}")
    [[ $answer =~ ^\ *variant\ *(double\ )?(.*)$ ]] && printf '%s\n' "${BASH_REMATCH[2]}"
}

# start_with_texts ARGUMENT...: the program, once its windows answer on the bus.
start_with_texts() {
    start_program "$@"
    wait_until 60 'the program tells its texts' find_program
}

# find_program [NAME]: sets which of the names on the bus answers for the windows of the program started last.
find_program() {
    for program_on_bus in $(ask org.freedesktop.DBus / org.freedesktop.DBus.ListNames | grep -o ':1\.[0-9]*'); do
        [[ $(property /org/a11y/atspi/accessible/root Accessible.Name) != "${1:-norvoclonerestore}" ]] || return 0
    done
    return 1
}

children() {
    ask "$program_on_bus" "$1" org.a11y.atspi.Accessible.GetChildren | grep -o '/org/a11y/atspi/accessible/[0-9]*' || true
}

# window_object TITLE
window_object() {
    local object
    for object in $(children /org/a11y/atspi/accessible/root); do
        [[ $(property "$object" Accessible.Name) != "$1" ]] || { echo "$object" && return; }
    done
    return 1
}

# find_widget OBJECT ROLE BEGINNING: the first inside OBJECT of this role whose text begins like this.
find_widget() {
    local object role
    for object in $(children "$1"); do
        role=$(ask "$program_on_bus" "$object" org.a11y.atspi.Accessible.GetRoleName)
        if [[ ${role#"${role%%[! ]*}"} == "$2" && $(property "$object" Accessible.Name) == "$3"* ]]; then
            echo "$object"
            return
        fi
        ! find_widget "$object" "$2" "$3" || return 0
    done
    return 1
}

# answer_box CAPTION NAME TEXT KEY...: waits for the message box, whose text has to be exactly this, keeps a screenshot of
# it, and presses these keys, which have to close it.
answer_box() {
    local label
    wait_window "$1"
    label=$(find_widget "$(window_object "$1")" label '') || fail "no text in the box $1"
    check "the box says: ${3//$'\n'/ }" test "$(property "$label" Accessible.Name)" = "$3"
    screenshot "$2"
    press "${@:4}"
    wait_window_gone "$1"
}

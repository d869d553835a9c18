# shellcheck shell=bash
# SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
# SPDX-License-Identifier: GPL-2.0-or-later

# Read by scenarios after lib.sh: the very texts in the program's windows, over the bus through which screen readers get
# them, and the LEDs, which are no text. Widgets are objects on the bus, which keep their names as long as the program runs.

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

# find_program: which of the names on the bus answers for the windows of the program started last.
find_program() {
    for program_on_bus in $(ask org.freedesktop.DBus / org.freedesktop.DBus.ListNames | grep -o ':1\.[0-9]*'); do
        [[ $(property /org/a11y/atspi/accessible/root Accessible.Name) != norvoclonerestore ]] || return 0
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

# box_says CAPTION TEXT: waits for the message box, whose text has to be exactly this.
box_says() {
    local label
    wait_window "$1"
    label=$(find_widget "$(window_object "$1")" label '') || fail "no text in the box $1"
    check "the box says: ${2//$'\n'/ }" test "$(property "$label" Accessible.Name)" = "$2"
}

# led_colour X Y: of the LED around this place of the window that wait_window found last.
led_colour() {
    local red green
    # shellcheck disable=SC2154 # $window is set in lib.sh
    read -r red green _ < <(import -window "$window" -crop "1x1+$1+$2" -depth 8 rgb:- | od -An -tu1)
    ((red > green)) && echo red || echo green
}

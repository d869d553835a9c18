# shellcheck shell=bash
# SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
# SPDX-License-Identifier: GPL-2.0-or-later

# Read by the first process of a machine, which has a function give_up and a folder /run/desktop.

start_desktop() {
    local display
    mkfifo /run/desktop/display
    Xvfb -displayfd 9 -screen 0 1024x768x24 -nolisten tcp -noreset >/run/desktop/log 2>&1 9>/run/desktop/display &
    read -r -t 60 display </run/desktop/display || give_up "no X server: $(cat /run/desktop/log)"
    export DISPLAY=:$display
    # The first key that xdotool presses makes the server announce another keyboard. The window manager then grabs its
    # keys anew, and misses one that is pressed meanwhile: this one comes before it is there. A server that resets
    # itself when its last client goes, as xdotool here, would do the same again at the next key.
    xdotool key shift
    # Once in about eighty boots it did not come up.
    for _ in 1 2 3; do
        openbox >/run/desktop/openbox.log 2>&1 &
        timeout 20 bash -c 'until xprop -root _NET_SUPPORTING_WM_CHECK | grep -q "window id"; do sleep 0.2; done' &&
            return
        kill "$!"
    done
    give_up "no window manager: $(cat /run/desktop/openbox.log)"
}

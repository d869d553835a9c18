// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <QString>

class KLed;
class QMessageBox;
class QWidget;

// What the dialogs have in common: their message boxes, the status LED and the mount button.

/** Shows a box until the operator has closed it. Its text is shown as it is, even if it looks like markup. */
void ShowBox(QMessageBox& box);

/** A modal critical box "Error" with OK; returns when the operator has closed it. */
void ShowError(QWidget* dialog, const QString& text);

/** A modal information box "Finish" with OK, for the end of a long run. */
void ShowFinish(QWidget* dialog, const QString& text);

/**
 * The keyboard goes to a widget of a dialog; the text of a line edit is selected, so that what is typed replaces it. A
 * window that was disabled together with its parent gives it to the widget made first otherwise, which may be a button.
 */
void GiveKeyboard(QWidget* widget);

/** Colours a status LED: green while the REV disk is mounted, red while it is not. */
void ShowRevState(KLed* led, bool mounted);

/**
 * Unmounts the REV disk when it is mounted, mounts it when it is not. On success the flag and the LED follow; on
 * failure both stay, and the operator is told.
 * @return whether it succeeded
 */
bool ToggleRev(QWidget* dialog, KLed* led, bool& mounted);

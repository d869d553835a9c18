// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

class QWidget;

/**
 * Condenses the letters of those labels and check boxes of a form whose text is wider than the widget, until it fits.
 * The forms have fixed positions, while the width of a text depends on the desktop's fonts. Family and size stay.
 */
void FitTexts(QWidget* form);

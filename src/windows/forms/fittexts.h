// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

class QWidget;

/**
 * Fits the texts of a form into its widgets, now and whenever the form's font or style changes: the forms have fixed
 * positions, while the size of a text depends on the desktop's fonts. Texts are shown in the form's font, or the one
 * that their widget was given when the form was built. Where one of them has no room, all are condensed and made
 * smaller by the same measure, as far as that one takes: none is smaller than its neighbours. A transcript, which
 * scrolls, keeps its font. To be called again when a text or the list's contents have changed.
 */
void FitTexts(QWidget* form);

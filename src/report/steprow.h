// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "runstate.h"

#include <QFrame>

class QLabel;
class QProgressBar;

enum class Tone { Plain, Good, Warning, Bad };

/** White text on green, amber or red, whatever colours the desktop has; or the desktop's own. */
void Paint(QLabel* label, Tone tone);

/** The text of a label, hidden where it is empty, with places at which its lines can be broken. */
void SetText(QLabel* label, const QString& text);

/** One step of a run: its name and state, its progress while it runs, and what there is to say of it. */
class StepRow : public QFrame
{
    Q_OBJECT

public:
    explicit StepRow(QWidget* parent);

    void Show(const Step& step, bool isClone);

private:
    QLabel* name;
    QLabel* state;
    QLabel* details;
    QProgressBar* bar;
};

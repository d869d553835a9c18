// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "outcome.h"
#include "room.h"
#include "runstate.h"
#include "steprow.h"

#include <QElapsedTimer>
#include <QTimer>
#include <QWidget>

#include <vector>

class QLabel;
class QProgressBar;
class QPushButton;
class QScrollArea;
class QVBoxLayout;

/**
 * The window beside the program: what its commands do, and at the end what came of it. It stands at the left edge of
 * the screen, where the program's own windows are not, stays below others and never asks for the keyboard.
 */
class ReportWindow : public QWidget
{
    Q_OBJECT

public:
    ReportWindow();

    /** A line from the program or a command; what comes of it is judged when all was heard. */
    void Hear(int connection, const QByteArray& line);
    void EndOf(int connection);
    /** All that was said so far has been heard. */
    void Settle();

protected:
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void Build();
    void Place();
    void Tick();
    void JudgeNow(bool isSilent);
    [[nodiscard]] Tone ToneOfOutcome() const;
    void ShowRun();
    void ShowTotals();
    void ShowRoom();
    void ShowOutcome();

    RunState run;
    Room room;
    std::optional<Outcome> outcome;
    bool changed = false;
    bool tooSmall = false; ///< the REV disk, said once in a run
    QElapsedTimer clock;
    QTimer timer;
    int ticks = 0;
    std::string inSight;   ///< the step that was scrolled to last: not all the time, the operator may look elsewhere
    int heightInSight = 0; ///< of its row then

    QLabel* headline = nullptr;
    QLabel* diskText = nullptr;
    QLabel* advice = nullptr;
    QScrollArea* area = nullptr;
    QVBoxLayout* list = nullptr;
    std::vector<StepRow*> rows;
    QProgressBar* total = nullptr;
    QLabel* totalText = nullptr;
    QLabel* roomText = nullptr;
    QLabel* warning = nullptr;
    QPushButton* close = nullptr;
};

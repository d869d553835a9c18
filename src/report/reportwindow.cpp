// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "reportwindow.h"

#include "steprow.h"
#include "words.h"

#include <KLocalizedString>

#include <QCloseEvent>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QVBoxLayout>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fstream>

namespace {
constexpr int tick = 500;        // milliseconds
constexpr int ticksOfRecord = 4; // between two looks at the REV disk
// Milliseconds after which nothing more is expected; the second where it is not even likely.
constexpr int64_t silence = 20000, silenceNearEnd = 4000;

QLabel* NewText(QWidget* parent)
{
    auto* const label = new QLabel(parent);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->hide();
    return label;
}

/** Whether the process waits for another: mkswap, which looks at each sector, tells nothing of itself. */
bool HasChild(int process)
{
    const std::string number = std::to_string(process);
    std::ifstream children("/proc/" + number + "/task/" + number + "/children");
    int child = 0;
    return process > 1 && children >> child;
}
} // namespace

ReportWindow::ReportWindow()
    : QWidget(nullptr, Qt::Window | Qt::WindowStaysOnBottomHint)
{
    setAttribute(Qt::WA_ShowWithoutActivating);
    Build();
    Place();
    clock.start();
    connect(&timer, &QTimer::timeout, this, &ReportWindow::Tick);
    timer.start(tick);
}

void ReportWindow::Build()
{
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(6, 6, 6, 6);
    headline = NewText(this);
    QFont large = headline->font();
    large.setBold(true);
    large.setPointSizeF(large.pointSizeF() > 0 ? large.pointSizeF() * 1.5 : 14);
    headline->setFont(large);
    headline->setMargin(6);
    diskText = NewText(this);
    area = new QScrollArea(this);
    area->setWidgetResizable(true);
    area->setFrameShape(QFrame::NoFrame);
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    area->setAccessibleName(i18n("Steps"));
    auto* const inside = new QWidget(area);
    list = new QVBoxLayout(inside);
    list->setContentsMargins(0, 0, 0, 0);
    advice = NewText(inside);
    list->addWidget(advice);
    list->addStretch();
    area->setWidget(inside);
    totalText = NewText(this);
    total = new QProgressBar(this);
    total->setRange(0, 1000);
    total->setAccessibleName(i18n("All of the run"));
    roomText = NewText(this);
    warning = NewText(this);
    warning->setMargin(4);
    Paint(warning, Tone::Warning);
    close = new QPushButton(i18n("&Close"), this);
    connect(close, &QPushButton::clicked, this, &QWidget::close);
    layout->addWidget(headline);
    layout->addWidget(diskText);
    layout->addWidget(area, 1);
    for (QWidget* widget : std::initializer_list<QWidget*>{totalText, total, roomText, warning, close})
        layout->addWidget(widget);
}

/** The program's windows are up to 512 wide and stand in the middle of the screen. */
void ReportWindow::Place()
{
    constexpr int programWidth = 512, frame = 8, least = 230, most = 420;
    const QRect free = screen()->availableGeometry();
    const int beside = (screen()->geometry().width() - programWidth) / 2 - 2 * frame;
    resize(std::clamp(beside, least, most), free.height() - 48);
    move(free.topLeft());
}

void ReportWindow::Hear(int connection, const QByteArray& line)
{
    const std::string set = run.TablePath();
    const int64_t begin = run.Begin();
    run.Take(connection, line.toStdString(), clock.elapsed());
    if (run.Begin() != begin || run.TablePath() != set) {
        room = {};
        tooSmall = false;
        outcome.reset();
        if (!run.Steps().empty())
            show();
    }
    if (line.contains("\"command\"")) {
        if (connection >= 0)
            room = LookAtRoom(run);
        if (run.Heard() != nullptr)
            run.LookUp(); // how the steps before ended, should they not have been heard
        JudgeNow(false);
    }
    changed = true;
}

void ReportWindow::EndOf(int connection)
{
    run.Close(connection, clock.elapsed());
    JudgeNow(false);
    changed = true;
}

/** Whether nothing more will come: the program is gone, or silent for a while. */
bool ReportWindow::IsOver() const
{
    const bool gone = run.Caller() > 1 && kill(run.Caller(), 0) != 0 && errno == ESRCH;
    return gone
        || (!HasChild(run.Caller()) && clock.elapsed() - run.LastWord() > (run.IsNearEnd() ? silenceNearEnd : silence));
}

void ReportWindow::Tick()
{
    ++ticks;
    if (ticks % ticksOfRecord == 0 && !outcome) {
        if (run.Heard() != nullptr) {
            room = LookAtRoom(run);
            tooSmall = tooSmall || room.IsTooSmall();
            changed = true;
        } else if (run.HasUnheard()) {
            run.LookUp();
            JudgeNow(false);
        }
    }
    if (!outcome && !run.Steps().empty() && run.Heard() == nullptr && IsOver())
        JudgeNow(true);
    if (changed)
        ShowRun();
    changed = false;
}

void ReportWindow::JudgeNow(bool isOver)
{
    const bool before = outcome.has_value();
    outcome = run.Judge(isOver);
    changed = true;
    if (outcome && !before) {
        ShowRun();
        area->verticalScrollBar()->setValue(0);
        show(); // also where the operator has closed it meanwhile
    }
}

void ReportWindow::ShowRun()
{
    const std::vector<Step>& steps = run.Steps();
    for (; rows.size() > steps.size(); rows.pop_back())
        delete rows.back();
    while (rows.size() < steps.size()) {
        rows.push_back(new StepRow(area->widget()));
        list->insertWidget(list->count() - 1, rows.back());
        rows.back()->show();
    }
    for (size_t i = 0; i < steps.size(); ++i) {
        Step step = steps[i];
        // At the end a step of which no end is known has failed; what a restore run never began was not chosen.
        if (outcome && step.state == Step::State::Waiting && !run.IsClone())
            step.state = Step::State::LeftOut;
        else if (outcome && (step.state == Step::State::Waiting || step.state == Step::State::Running))
            step.state = Step::State::Failed;
        rows[i]->Show(step, run.IsClone());
        if (steps[i].isHeard && inSight != steps[i].name) {
            inSight = steps[i].name;
            area->ensureWidgetVisible(rows[i]);
        }
    }
    ShowOutcome();
    ShowTotals();
    ShowRoom();
}

void ReportWindow::ShowOutcome()
{
    const QString text = outcome ? Words::Headline(*outcome, run.IsClone()) : Words::Title(run);
    SetText(headline, text);
    Paint(headline,
        !outcome                  ? Tone::Plain
            : !outcome->good      ? Tone::Bad
            : outcome->warned > 0 ? Tone::Warning
                                  : Tone::Good);
    SetText(diskText, Words::Disk(run));
    SetText(advice, outcome ? Words::Advice(run, *outcome) : QString());
    if (windowTitle() != text)
        setWindowTitle(text);
}

void ReportWindow::ShowTotals()
{
    const double fraction = outcome ? 1 : run.Fraction();
    const double stepLeft = run.Heard() == nullptr ? 0 : run.Heard()->SecondsLeft();
    const double seconds = static_cast<double>(clock.elapsed() - run.Begin()) / 1000;
    total->setVisible(!outcome);
    total->setValue(static_cast<int>(fraction * 1000));
    QString text;
    if (!outcome && run.Heard() == nullptr && fraction >= 1)
        text = i18n("Waiting for what follows");
    else if (!outcome)
        text = fraction > 0.02 && seconds > 5 ? i18n("All of the run: about %1 left",
                   Words::Duration(std::max(stepLeft, seconds / fraction * (1 - fraction))))
                                              : i18n("All of the run");
    SetText(totalText, text);
}

void ReportWindow::ShowRoom()
{
    const bool known = run.IsClone() && room.left > 0;
    SetText(roomText,
        known ? i18n("Room left on the REV disk: %1", Words::Size(static_cast<double>(room.left))) : QString());
    QString text;
    if (known && tooSmall && !outcome)
        text = i18n("The images still to be made are likely to need about %1, more than the room that is left.",
            Words::Size(static_cast<double>(room.needed)));
    SetText(warning, text);
}

/** During a run it only gets out of sight: what came of the run has to be seen. */
void ReportWindow::closeEvent(QCloseEvent* event)
{
    event->accept();
    if (outcome)
        QCoreApplication::quit();
}

void ReportWindow::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Escape)
        QWidget::close();
    else
        QWidget::keyPressEvent(event);
}

// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "reportwindow.h"

#include "programicon.h"
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

namespace {
constexpr int tick = 500;         // milliseconds
constexpr int ticksOfRecord = 4;  // between two looks at the REV disk
constexpr int64_t silence = 4000; // milliseconds after which what was done by hand is summed up

QLabel* NewText(QWidget* parent)
{
    auto* const label = new QLabel(parent);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->hide();
    return label;
}
} // namespace

ReportWindow::ReportWindow()
    : QWidget(nullptr, Qt::Window | Qt::WindowStaysOnBottomHint)
{
    setAttribute(Qt::WA_ShowWithoutActivating);
    setWindowIcon(ProgramIcon());
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
    }
    changed = true;
}

void ReportWindow::EndOf(int connection)
{
    run.Close(connection, clock.elapsed());
    changed = true;
}

void ReportWindow::Settle()
{
    if (!changed)
        return;
    if (!outcome && run.ProgramState() == RunState::Program::Over)
        run.LookUp(); // a command's last words may not have reached this window
    JudgeNow(false);
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
            changed = true;
        }
    }
    if (!outcome && run.ProgramState() == RunState::Program::Unknown && clock.elapsed() - run.LastWord() > silence)
        JudgeNow(true);
    if (changed)
        ShowRun();
    changed = false;
}

void ReportWindow::JudgeNow(bool isSilent)
{
    const bool before = outcome.has_value();
    outcome = Outcome::Of(run, isSilent);
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
        if (outcome)
            step.state = outcome->Final(step);
        rows[i]->Show(step, run.IsClone());
        // It grows when it has something to show of its progress.
        if (steps[i].isHeard && (inSight != steps[i].name || heightInSight < rows[i]->height())) {
            inSight = steps[i].name;
            heightInSight = rows[i]->height();
            area->ensureWidgetVisible(rows[i]);
        }
    }
    ShowOutcome();
    ShowTotals();
    ShowRoom();
}

/** Good only what the program meant and has brought to its end. */
Tone ReportWindow::ToneOfOutcome() const
{
    if (!outcome || (outcome->kind == Outcome::Kind::ByHand && outcome->faults.empty()))
        return Tone::Plain;
    if (outcome->kind == Outcome::Kind::Complete)
        return outcome->warned > 0 ? Tone::Warning : Tone::Good;
    const bool isAllDone = outcome->kind == Outcome::Kind::Unfinished && !outcome->last && outcome->faults.empty();
    return isAllDone ? Tone::Warning : Tone::Bad;
}

void ReportWindow::ShowOutcome()
{
    const QString text = outcome ? Words::Headline(*outcome, run.IsClone()) : Words::Title(run);
    SetText(headline, text);
    Paint(headline, ToneOfOutcome());
    SetText(diskText, Words::Disk(run));
    SetText(advice, outcome ? Words::Advice(run, *outcome) : QString());
    if (windowTitle() != text)
        setWindowTitle(text);
}

void ReportWindow::ShowTotals()
{
    // Of what is done by hand nobody knows how much there is to come.
    const bool isKnown = !outcome && run.ProgramState() != RunState::Program::Unknown;
    const double fraction = run.Fraction();
    const double stepLeft = run.Heard() == nullptr ? 0 : run.Heard()->SecondsLeft();
    const double seconds = static_cast<double>(clock.elapsed() - run.Begin()) / 1000;
    total->setVisible(isKnown);
    total->setValue(static_cast<int>(fraction * 1000));
    QString text;
    if (isKnown && run.ProgramState() == RunState::Program::Gone)
        text = i18n("The program has ended; this step is the last one");
    else if (isKnown && run.Heard() == nullptr && fraction >= 1)
        text = i18n("Waiting for what follows");
    else if (isKnown)
        text = fraction > 0.02 && seconds > 5 ? i18n("All of the run: about %1 left",
                   Words::Duration(std::max(stepLeft, seconds / fraction * (1 - fraction))))
                                              : i18n("All of the run");
    SetText(totalText, text);
}

void ReportWindow::ShowRoom()
{
    const bool isKnown = run.IsClone() && room.left;
    SetText(roomText,
        isKnown ? i18n("Room left on the REV disk: %1", Words::Size(static_cast<double>(*room.left))) : QString());
    QString text;
    if (isKnown && room.needed && tooSmall && !outcome)
        text = i18n("The images still to be made are likely to need about %1, more than the room that is left.",
            Words::Size(static_cast<double>(*room.needed)));
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

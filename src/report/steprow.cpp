// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "steprow.h"

#include "words.h"

#include <QLabel>
#include <QProgressBar>
#include <QVBoxLayout>

namespace {
QLabel* AddText(QWidget* parent, QLayout* layout)
{
    auto* const label = new QLabel(parent);
    label->setTextFormat(Qt::PlainText); // reasons have names of files in them
    label->setWordWrap(true);
    layout->addWidget(label);
    return label;
}

Tone ToneOf(Step::State state)
{
    switch (state) {
    case Step::State::Done:
        return Tone::Good;
    case Step::State::Warned:
        return Tone::Warning;
    case Step::State::Failed:
        return Tone::Bad;
    default:
        return Tone::Plain;
    }
}
} // namespace

StepRow::StepRow(QWidget* parent)
    : QFrame(parent)
{
    setFrameShape(QFrame::StyledPanel);
    setFocusPolicy(Qt::TabFocus); // to be read one by one
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(6, 4, 6, 4);
    layout->setSpacing(3);
    name = AddText(this, layout);
    QFont bold = name->font();
    bold.setBold(true);
    name->setFont(bold);
    state = AddText(this, layout);
    state->setContentsMargins(3, 0, 3, 0);
    state->setSizePolicy(QSizePolicy::Maximum, QSizePolicy::Preferred);
    state->setWordWrap(false);
    bar = new QProgressBar(this);
    bar->setRange(0, 1000);
    layout->addWidget(bar);
    details = AddText(this, layout);
}

void StepRow::Show(const Step& step, bool isClone)
{
    const QString nameText = Words::Name(step, isClone);
    const QString stateText = Words::State(step);
    const QString detailsText = Words::Details(step, isClone);
    const bool hasBar = step.state == Step::State::Running && step.total > 0;
    SetText(name, nameText);
    SetText(state, hasBar ? QString() : stateText);
    Paint(state, ToneOf(step.state));
    SetText(details, detailsText);
    bar->setVisible(hasBar);
    bar->setValue(static_cast<int>(step.Fraction() * 1000));
    bar->setAccessibleName(nameText);
    const QString all = nameText + QStringLiteral(", ") + stateText
        + (detailsText.isEmpty() ? QString() : QStringLiteral(": ") + detailsText);
    if (accessibleName() != all)
        setAccessibleName(all);
}

void SetText(QLabel* label, const QString& text)
{
    // Only when it is another: screen readers are told of each, in the words without those places.
    if (label->accessibleName() != text) {
        label->setText(Words::Breakable(text));
        label->setAccessibleName(text);
    }
    label->setVisible(!text.isEmpty());
}

void Paint(QLabel* label, Tone tone)
{
    label->setAutoFillBackground(tone != Tone::Plain);
    QPalette palette;
    if (tone != Tone::Plain) {
        palette.setColor(QPalette::Window,
            tone == Tone::Good      ? QColor(0x1b, 0x5e, 0x20)
                : tone == Tone::Bad ? QColor(0xa8, 0x10, 0x10)
                                    : QColor(0x7a, 0x4a, 0x00));
        palette.setColor(QPalette::WindowText, Qt::white);
    }
    label->setPalette(palette);
}

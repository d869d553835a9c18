// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "fittexts.h"

#include <QCheckBox>
#include <QLabel>

namespace {
void FitText(QWidget* widget)
{
    QFont font = widget->font();
    // Narrower than half its width no text can be read.
    for (int stretch = QFont::Unstretched; stretch >= QFont::UltraCondensed; stretch -= 2) {
        font.setStretch(stretch);
        widget->setFont(font);
        if (widget->sizeHint().width() <= widget->width())
            return;
    }
}
} // namespace

void FitTexts(QWidget* form)
{
    const auto labels = form->findChildren<QLabel*>();
    for (QLabel* label : labels) {
        if (!label->text().isEmpty())
            FitText(label);
    }
    const auto checkBoxes = form->findChildren<QCheckBox*>();
    for (QCheckBox* box : checkBoxes)
        FitText(box);
}

// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "fittexts.h"

#include <QCheckBox>
#include <QComboBox>
#include <QEvent>
#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QStyleOption>
#include <QTextEdit>
#include <QTreeWidget>

#include <utility>
#include <vector>

namespace {
constexpr int mostCondensed = 80;   ///< in percent of the font's width; beyond that a smaller font is read more easily
constexpr qreal smallestFont = 5.0; ///< in points
constexpr char ownFont[] = "ownFont"; ///< property of a widget: the font that the form was built with

QSize TextSize(const QWidget* widget, const QString& text)
{
    return widget->fontMetrics().size(Qt::TextShowMnemonic, text);
}

QSize RoomOfButton(const QAbstractButton* button, QStyle::SubElement contents)
{
    QStyleOptionButton option;
    option.initFrom(button);
    // Text may reach into a frame above and below, which is drawn before it.
    const QSize available(button->style()->subElementRect(contents, &option, button).width(), button->height());
    return available - TextSize(button, button->text());
}

/** The title stands above the widgets in the box. */
QSize RoomOfTitle(const QGroupBox* box)
{
    const int top = box->childrenRect().top();
    const int margin = box->style()->pixelMetric(QStyle::PM_DefaultFrameWidth, nullptr, box);
    return QSize(box->width() - 2 * margin, top) - TextSize(box, box->title());
}

QSize RoomOfList(QTreeWidget* list)
{
    list->header()->resizeSections(QHeaderView::ResizeToContents);
    const int bar = list->style()->pixelMetric(QStyle::PM_ScrollBarExtent, nullptr, list);
    return {list->width() - 2 * list->frameWidth() - bar - list->header()->length(), 0};
}

/** What is left of a widget's room when its text is in it; negative where it doesn't fit. */
QSize RoomOf(QWidget* widget)
{
    if (auto* const label = qobject_cast<QLabel*>(widget))
        return label->text().isEmpty() ? QSize(0, 0) : label->size() - label->sizeHint();
    if (auto* const box = qobject_cast<QCheckBox*>(widget))
        return RoomOfButton(box, QStyle::SE_CheckBoxContents);
    if (auto* const button = qobject_cast<QPushButton*>(widget))
        return RoomOfButton(button, QStyle::SE_PushButtonContents);
    if (auto* const box = qobject_cast<QGroupBox*>(widget))
        return RoomOfTitle(box);
    if (auto* const list = qobject_cast<QTreeWidget*>(widget))
        return RoomOfList(list);
    if (qobject_cast<QLineEdit*>(widget) || qobject_cast<QComboBox*>(widget))
        return {0, widget->height() - widget->fontMetrics().height()};
    return {0, 0};
}

/** How much smaller than it would be a text is shown. */
struct Shrink
{
    int stretch = QFont::Unstretched; ///< in percent of the font's width
    qreal size = 1;                   ///< of the font's points
};

/** The font that the widget was given when the form was built, or else the form's. */
QFont NaturalFont(QWidget* widget, const QFont& formFont)
{
    if (!widget->property(ownFont).isValid())
        widget->setProperty(ownFont, widget->testAttribute(Qt::WA_SetFont) ? widget->font() : QFont());
    // Taken from the form, not from the widget that this one lies in, which may have been given a smaller one.
    QFont font = widget->property(ownFont).value<QFont>().resolve(formFont);
    // Some desktops give their font's size in pixels.
    font.setPointSizeF(font.pointSizeF() > 0 ? font.pointSizeF() : QFontInfo(font).pointSizeF());
    return font;
}

void Apply(QWidget* widget, QFont font, const Shrink& shrink)
{
    font.setStretch(shrink.stretch);
    font.setPointSizeF(font.pointSizeF() * shrink.size);
    widget->setFont(font);
}

/** Makes the text smaller until the widget has room for it, beginning with what others need. */
void FitText(QWidget* widget, const QFont& natural, Shrink& shrink)
{
    constexpr int narrower = 2;         // percent
    constexpr qreal smaller = 1.0 / 64; // of its natural size
    Apply(widget, natural, shrink);
    for (QSize room = RoomOf(widget); room.width() < 0 || room.height() < 0; room = RoomOf(widget)) {
        if (room.width() < 0 && shrink.stretch > mostCondensed)
            shrink.stretch -= narrower;
        else if (natural.pointSizeF() * (shrink.size - smaller) >= smallestFont)
            shrink.size -= smaller;
        else
            return;
        Apply(widget, natural, shrink);
    }
}

/** Fits the texts of its parent, a form, whenever that changes its looks. */
class TextFitter : public QObject
{
public:
    explicit TextFitter(QWidget* form)
        : QObject(form)
    {
        form->installEventFilter(this);
    }

    bool eventFilter(QObject* form, QEvent* event) override
    {
        if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange)
            FitTexts(static_cast<QWidget*>(form));
        return false;
    }
};
} // namespace

void FitTexts(QWidget* form)
{
    static const QString name = QStringLiteral("textFitter");
    if (!form->findChild<QObject*>(name, Qt::FindDirectChildrenOnly))
        (new TextFitter(form))->setObjectName(name);
    std::vector<std::pair<QWidget*, QFont>> texts;
    Shrink shrink;
    const auto widgets = form->findChildren<QWidget*>();
    for (QWidget* widget : widgets) {
        const bool ofForm = widget->parentWidget() == form || qobject_cast<QGroupBox*>(widget->parentWidget());
        // A transcript scrolls, whatever its font.
        if (ofForm && !widget->isWindow() && !qobject_cast<QTextEdit*>(widget)) {
            texts.emplace_back(widget, NaturalFont(widget, form->font()));
            FitText(widget, texts.back().second, shrink);
        }
    }
    for (const auto& [widget, natural] : texts)
        Apply(widget, natural, shrink);
    for (const auto& [list, natural] : texts) { // columns are as wide as their texts
        if (qobject_cast<QTreeWidget*>(list))
            RoomOf(list);
    }
}

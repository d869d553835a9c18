// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "clonedlg.h"
#include "norvoclonerestoredlg.h"
#include "restoredlg.h"
#include "restoreoutputdlg.h"
#include "revmanagerdlg.h"
#include "stand.h"

#include <memory>

namespace {
template <class Form> QWidget* Make(const char* name)
{
    return new Form(nullptr, name, Qt::Window);
}

const QMap<QString, QWidget* (*)(const char*)> forms
    = {{"mainDlg", Make<mainDlg>}, {"cloneDlg", Make<cloneDlg>}, {"restoreDlg", Make<restoreDlg>},
        {"restoreoutputdlg", Make<restoreoutputdlg>}, {"revManagerDlg", Make<revManagerDlg>}};

QString SizeText(const QSize& size)
{
    return QString("%1x%2").arg(size.width()).arg(size.height());
}

/** The line of a widget in forms.txt. */
QString Description(const QWidget* widget)
{
    QStringList texts,
        words = {widget->objectName(), widget->metaObject()->className(),
            QString("%1,%2").arg(widget->x()).arg(widget->y()), SizeText(widget->size())};
    for (const char* property : {"title", "text", "shortcut"})
        texts.append(widget->property(property).toString().replace('\n', "\\n"));
    if (const auto* const list = qobject_cast<const QTreeWidget*>(widget)) {
        for (int column = 0; column < list->columnCount(); ++column)
            texts.append(list->headerItem()->text(column));
    }
    texts.removeAll(QString());
    for (const QString& text : texts)
        words.append('[' + text + ']');
    if (const auto picture = widget->property("pixmap").value<QPixmap>(); !picture.isNull())
        words.append("picture " + SizeText(picture.size()));
    if (const auto icon = widget->property("icon").value<QIcon>(); !icon.isNull())
        words.append("picture " + SizeText(icon.actualSize(widget->property("iconSize").toSize())));
    if (widget->font().pointSize() > 30)
        words.append(widget->font().family() + ' ' + QString::number(widget->font().pointSize()));
    if (!widget->isEnabled())
        words.append("disabled");
    for (const char* property : {"checked", "scaledContents"}) {
        if (widget->property(property).toBool())
            words.append(property);
    }
    if (const auto* const led = qobject_cast<const KLed*>(widget); led != nullptr && led->shape() == KLed::Rectangular)
        words.append("rectangular");
    return words.join(' ');
}

/** The widgets of a form that it names itself. */
QWidgetList Widgets(const QWidget* form)
{
    QWidgetList widgets;
    for (QWidget* widget : form->findChildren<QWidget*>()) {
        if (widget->parent() == form || qobject_cast<QGroupBox*>(widget->parent()) != nullptr)
            widgets.append(widget);
    }
    return widgets;
}

QString TabOrder(const QWidget* form)
{
    QStringList names;
    QWidget* widget = form->focusWidget();
    do {
        if (Widgets(form).contains(widget) && (widget->focusPolicy() & Qt::TabFocus) != 0)
            names.append(widget->objectName());
        widget = widget->nextInFocusChain();
    } while (widget != form->focusWidget());
    return names.join(' ');
}
} // namespace

class FormsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void holdsWhatIsListed_data()
    {
        QTest::addColumn<QString>("listed");
        const QString list = QString::fromUtf8(ReadFile(QFINDTESTDATA("forms.txt")));
        for (const QString& form : list.trimmed().split("\n\n").mid(1))
            QTest::newRow(qPrintable(form.section(' ', 0, 0))) << form;
        QCOMPARE(list.count("\n\n"), forms.size());
    }

    void holdsWhatIsListed()
    {
        const QString name = QTest::currentDataTag();
        const std::unique_ptr<QWidget> form(forms[name](nullptr)), named(forms[name]("Name"));
        form->show();
        QVERIFY(QTest::qWaitForWindowActive(form.get()));
        QStringList lines = {name + ' ' + SizeText(form->size()) + " [" + form->windowTitle() + "] icon "
                + SizeText(form->windowIcon().actualSize({99, 99})),
            TabOrder(form.get())};
        for (const QWidget* widget : Widgets(form.get())) {
            lines.append(Description(widget));
            const bool hasText = qobject_cast<const QLabel*>(widget) != nullptr && !lines.last().contains(" picture ");
            if (hasText || qobject_cast<const QCheckBox*>(widget) != nullptr)
                QVERIFY2(widget->sizeHint().width() <= widget->width(), qPrintable(lines.last()));
        }
        QFETCH(QString, listed);
        QCOMPARE(lines, listed.split('\n'));
        for (const QSize& size : {form->minimumSize(), form->maximumSize(), form->baseSize()})
            QCOMPARE(size, form->size());
        QCOMPARE(form->objectName() + named->objectName(), name + "Name");
    }

    void warnsOfMissingSlots()
    {
        for (const auto& make : forms) {
            const std::unique_ptr<QWidget> form(make(nullptr));
            const auto expect = [&form](const QWidget* widget, const QString& signal) {
                const QString slot = form->objectName() + "::" + widget->objectName() + '_' + signal;
                QTest::ignoreMessage(QtWarningMsg, qPrintable(slot + ": Not implemented yet"));
            };
            for (auto* button : form->findChildren<QPushButton*>()) {
                expect(button, "clicked()");
                button->click();
            }
            for (auto* box : form->findChildren<QComboBox*>()) {
                expect(box, "activated(const QString&)");
                Q_EMIT box->textActivated("text");
            }
        }
    }
};

QTEST_MAIN(FormsTest)
#include "formstest.moc"

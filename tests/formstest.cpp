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

/** In tab order, beginning where the keyboard is when the window is shown. */
QString TabOrder(const QWidget* form)
{
    QStringList names;
    QWidget* widget = form->focusWidget();
    do {
        if (!widget->objectName().startsWith("qt_") && (widget->focusPolicy() & Qt::TabFocus) != 0)
            names.append(widget->objectName());
        widget = widget->nextInFocusChain();
    } while (widget != form->focusWidget());
    return names.join(' ');
}

/** The sizes of the pictures, from left to right in the order of their widgets. */
QString Pictures(const QWidget* form)
{
    QStringList sizes;
    for (const QWidget* widget : form->findChildren<QWidget*>()) {
        auto size = widget->property("pixmap").value<QPixmap>().size();
        if (const auto icon = widget->property("icon").value<QIcon>(); !icon.isNull())
            size = icon.actualSize(widget->property("iconSize").toSize());
        if (!size.isEmpty())
            sizes.append(QString("%1x%2").arg(size.width()).arg(size.height()));
    }
    return sizes.join(' ');
}
} // namespace

class FormsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isUsable_data()
    {
        QTest::addColumn<QString>("tabOrder");
        QTest::addColumn<QString>("pictures");
        QTest::newRow("mainDlg") << "btnClone btnRestore btnRevManager"
                                 << "100x100 100x100 100x100";
        QTest::newRow("cloneDlg") << "edtSerial edtSerialAgain edtDate btnMount btnCancel btnClone"
                                  << "22x22";
        QTest::newRow("restoreDlg")
            << "cmbSerial cmbDate lstPartitions chkSwap chkGrub btnMount btnCancelRestore btnStartRestore"
            << "22x22";
        QTest::newRow("restoreoutputdlg") << "txtOutput btnClose"
                                          << "";
        QTest::newRow("revManagerDlg") << "btnMount btnFormat btnCancel"
                                       << "93x45 105x105 22x22 100x100";
    }

    /** No text is cut off, no picture missing, and the keyboard goes through the widgets in their order. */
    void isUsable()
    {
        const QString name = QTest::currentDataTag();
        const std::unique_ptr<QWidget> form(forms[name](nullptr)), named(forms[name]("Name"));
        form->show();
        QVERIFY(QTest::qWaitForWindowActive(form.get()));
        for (const QWidget* widget : form->findChildren<QWidget*>()) {
            const auto* const label = qobject_cast<const QLabel*>(widget);
            if ((label != nullptr && !label->text().isEmpty()) || qobject_cast<const QCheckBox*>(widget) != nullptr)
                QVERIFY2(widget->sizeHint().width() <= widget->width(), qPrintable(widget->objectName()));
        }
        QTEST(TabOrder(form.get()), "tabOrder");
        QTEST(Pictures(form.get()), "pictures");
        QVERIFY(!form->windowIcon().isNull());
        QVERIFY(form->minimumSize() == form->size() && form->maximumSize() == form->size());
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

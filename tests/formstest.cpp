// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "clonedlg.h"
#include "norvoclonerestoredlg.h"
#include "restoredlg.h"
#include "restoreoutputdlg.h"
#include "revmanagerdlg.h"
#include "stand.h"

class FormsTest : public QObject
{
    Q_OBJECT

private:
    /** In tab order, beginning where the keyboard is when the window is shown. */
    static QString TabOrder(const QWidget& form)
    {
        QStringList names;
        QWidget* widget = form.focusWidget();
        do {
            if (!widget->objectName().startsWith("qt_") && (widget->focusPolicy() & Qt::TabFocus) != 0)
                names.append(widget->objectName());
            widget = widget->nextInFocusChain();
        } while (widget != form.focusWidget());
        return names.join(' ');
    }

    static bool Fits(const QWidget* widget)
    {
        return widget->sizeHint().width() <= widget->width();
    }

    /** No text is cut off, no picture missing, and the keyboard goes through the widgets in their order. */
    template <class Form> static void Check(const QString& tabOrder)
    {
        Form form(nullptr, nullptr, Qt::Window);
        form.show();
        QVERIFY(QTest::qWaitForWindowActive(&form));
        for (const QLabel* label : form.template findChildren<QLabel*>()) {
            const bool picture = label->text().isEmpty();
            QVERIFY(picture ? !label->property("pixmap").value<QPixmap>().isNull() : Fits(label));
        }
        for (const QCheckBox* box : form.template findChildren<QCheckBox*>())
            QVERIFY(Fits(box));
        for (const QPushButton* button : form.template findChildren<QPushButton*>())
            QVERIFY(!button->icon().isNull() || !button->text().isEmpty());
        QVERIFY(!form.windowIcon().isNull());
        QVERIFY(form.minimumSize() == form.size() && form.maximumSize() == form.size());
        QCOMPARE(TabOrder(form), tabOrder);
    }

private Q_SLOTS:
    void areUsable()
    {
        Check<mainDlg>("btnClone btnRestore btnRevManager");
        Check<cloneDlg>("edtSerial edtSerialAgain edtDate btnMount btnCancel btnClone");
        Check<restoreDlg>("cmbSerial cmbDate lstPartitions chkSwap chkGrub btnMount btnCancelRestore btnStartRestore");
        Check<restoreoutputdlg>("txtOutput btnClose");
        Check<revManagerDlg>("btnMount btnFormat btnCancel");
    }
};

QTEST_MAIN(FormsTest)
#include "formstest.moc"

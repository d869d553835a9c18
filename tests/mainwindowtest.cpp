// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "norvoclonerestore.h"
#include "stand.h"
#include "utility.h"

#include <QApplication>
#include <QLineEdit>
#include <QScreen>
#include <cerrno>

class MainWindowTest : public Stand
{
    Q_OBJECT

private:
    std::unique_ptr<NorvoCloneRestore> window;

    void Start(bool cloneVersion)
    {
        commands.Add("df", "echo Filesystem");
        window = std::make_unique<NorvoCloneRestore>(nullptr, nullptr, Qt::WindowFlags());
        window->Init(cloneVersion, "1.0.5");
        window->show();
    }

    void Press(const QString& button)
    {
        Child(window.get(), button)->click();
    }

    QWidget* Dialog(const QString& name)
    {
        return Child<QWidget>(window.get(), name);
    }

    /** The main window lies around the open one and can be clicked, though it takes no input. */
    void CheckBringsBack(const QWidget* open)
    {
        window->activateWindow();
        window->raise();
        QTRY_VERIFY(open->isActiveWindow());
        QTest::mouseClick(window.get(), Qt::LeftButton);
        QTRY_VERIFY(open->isActiveWindow());
    }

private Q_SLOTS:
    void leavesOutWhatIsNotForThisVersion()
    {
        Start(true);
        QVERIFY(Dialog("Clone") && Dialog("lblClone")->isVisible());
        QCOMPARE(window->size(), QSize(512, 480));
        Start(false);
        QVERIFY(!Dialog("Clone") && Dialog("lblClone")->isHidden() && Dialog("btnClone")->isHidden());
        QCOMPARE(Dialog("btnRestore")->pos(), QPoint(20, 120));
        QCOMPARE(Dialog("lblRevManager")->pos(), QPoint(140, 260));
        QVERIFY(window->minimumSize() == QSize(512, 360) && window->maximumSize() == window->minimumSize());
        window->btnClone_clicked();
        QVERIFY(window->isEnabled());
        Press("btnRestore");
        Dialog("Restore")->close();
        QVERIFY(!Dialog("btnClone")->isEnabled() && Dialog("btnRestore")->isEnabled());
    }

    void opensDialogs_data()
    {
        Columns<QString, bool, bool>("dialog", "mounted", "works");
        for (const char* dialog : {"Clone", "Restore", "RevManager"})
            for (const bool mounted : {true, false})
                for (const bool works : {true, false})
                    QTest::addRow("%s, mounted: %d, works: %d", dialog, mounted, works) << dialog << mounted << works;
    }

    /** Opens a dialog, presses its mount button and closes it; what that did is to be seen in another dialog. */
    void opensDialogs()
    {
        QFETCH(QString, dialog);
        QFETCH(bool, mounted);
        QFETCH(bool, works);
        Kernel::mountErrno = mounted ? 0 : ENOMEDIUM;
        Kernel::onMount = [this] {
            QVERIFY(Dialog("Clone") && Dialog("Restore") && Dialog("RevManager"));
        };
        Start(true);
        Kernel::onMount = nullptr;
        window->move(200, 150);
        QWidget* const opened = Dialog(dialog);
        Press("btn" + dialog);
        QCOMPARE(opened->pos(), Middle(window.get(), opened));
        const QMap<QString, QString> first
            = {{"Clone", "edtSerial"}, {"Restore", "cmbSerial"}, {"RevManager", "btnMount"}};
        QCOMPARE(opened->focusWidget()->objectName(), first[dialog]);
        QVERIFY(opened->isVisible() && opened->isEnabled() && !window->isEnabled());
        QVERIFY(!window->close() && window->isVisible());
        QCOMPARE(Led(opened), QString(mounted ? "green" : "red"));

        Kernel::mountErrno = Kernel::umountErrno = works ? 0 : EPERM;
        if (!works)
            boxes.ExpectError(mounted ? "Unable to umount Rev!" : "Unable to mount Rev!");
        Child(opened, "btnMount")->click();
        const QString led = works != mounted ? "green" : "red";
        QCOMPARE(Led(opened), led);
        QVERIFY(opened->close() && opened->isHidden() && window->isEnabled());
        QCOMPARE(window->focusWidget(), Dialog("btn" + dialog));

        const QString other = dialog == "Restore" ? "Clone" : "Restore";
        Press("btn" + other);
        QCOMPARE(Led(Dialog(other)), led);
        Dialog(other)->close();
        Kernel::calls.clear();
        QVERIFY(window->close() && Dialog(dialog) == nullptr);
        window.reset();
        QCOMPARE(Kernel::calls.join('|'), QString("umount /mnt/rev/"));
    }

    /** Who types at once replaces the number of the last machine; a blank in it presses no button. */
    void takesASerialNumberTypedAtOnce()
    {
        Start(true);
        Press("btnClone");
        for (const char* field : {"edtSerial", "edtSerialAgain"})
            Child<QLineEdit>(Dialog("Clone"), field)->setText("SN 4711");
        QTest::keyClick(Dialog("Clone")->focusWidget(), Qt::Key_Backtab); // elsewhere, as after a run
        Dialog("Clone")->close();
        Press("btnClone");
        QTest::keyClicks(Dialog("Clone")->focusWidget(), "SN 4712");
        QCOMPARE(Child<QLineEdit>(Dialog("Clone"), "edtSerial")->text(), QString("SN 4712"));
        QVERIFY(Dialog("Clone")->isVisible());
    }

    void bringsTheOpenWindowBack()
    {
        WriteFile("/mnt/rev/A/2007/A_2007_hdc.sf", "/dev/hdc1 : start= 1, size= 2, Id=83\n");
        commands.Add("dd", "hold");
        Start(true);
        Press("btnRestore");
        CheckBringsBack(Dialog("Restore"));
        commands.During("dd", [this] {
            CheckBringsBack(Dialog("Restore Output"));
        });
        boxes.expected.append({"Information|Finish|Restore finished successfully!|OK", Qt::Key_Return, [this] {
                                   CheckBringsBack(QApplication::activeModalWidget());
                               }});
        Child(Dialog("Restore"), "btnStartRestore")->click();
        CheckBringsBack(Dialog("Restore Output"));
    }

    /** A box that comes before the dialog does is where the dialog will be. */
    void showsTheFirstBoxInTheMiddle()
    {
        Start(true);
        window->move(200, 150);
        commands.Add("df");
        boxes.ExpectError("Error running df command!");
        boxes.expected.last().meanwhile = [this] {
            const QPoint away = QApplication::activeModalWidget()->geometry().center() - window->geometry().center();
            QVERIFY2(away.manhattanLength() < 30, qPrintable(QString("%1,%2").arg(away.x()).arg(away.y())));
        };
        Press("btnRevManager");
    }

    void waitsForDf()
    {
        Start(false);
        commands.Add("df", "hold; echo Filesystem");
        commands.During("df", [this] {
            window->btnRevManager_clicked();
            window->btnRestore_clicked();
            QVERIFY(window->isEnabled() && Dialog("Restore")->isHidden() && Dialog("RevManager")->isHidden());
            QVERIFY(window->close());
        });
        Press("btnRevManager");
        QCOMPARE(commands.Calls().size(), 1);
        QVERIFY(Dialog("RevManager")->isHidden());
        window.reset();
        QCOMPARE(Kernel::calls.last(), QString("umount /mnt/rev/"));
    }

    void leavesTheDiskToTheFormatCommand()
    {
        Start(true);
        commands.Add("mkudffs", "hold");
        Press("btnRevManager");
        boxes.expected.append({formatQuestion});
        boxes.expected.append({formatted});
        commands.During("mkudffs", [this] {
            const QStringList calls = Kernel::calls;
            for (const char* button : {"btnMount", "btnFormat", "btnCancel"})
                Child(Dialog("RevManager"), button)->click();
            QVERIFY(window->isEnabled() && Dialog("RevManager")->isHidden());
            for (const char* button : {"btnClone", "btnRestore", "btnRevManager"})
                QVERIFY(!Dialog(button)->isEnabled());
            QCOMPARE(Kernel::calls, calls);
        });
        Child(Dialog("RevManager"), "btnFormat")->click();
        QCOMPARE(commands.Calls().filter("mkudffs").size(), 1);
        QVERIFY(Dialog("btnClone")->isEnabled() && window->focusWidget() == Dialog("btnRevManager"));
    }

    /** All windows are closed while the disk is formatted: the program ends when the operator knows how that went. */
    void tellsTheResultBeforeItEnds()
    {
        Start(false);
        commands.Add("mkudffs", "hold; exit 1");
        Press("btnRevManager");
        boxes.expected.append({formatQuestion});
        boxes.ExpectError("Unable to format Rev!");
        commands.During("mkudffs", [this] {
            QVERIFY(Dialog("RevManager")->close() && window->close());
        });
        QTimer::singleShot(0, this, [this] {
            Child(Dialog("RevManager"), "btnFormat")->click();
        });
        QApplication::exec();
        QVERIFY(boxes.expected.isEmpty());
        window.reset();
    }

    void survivesTheEndOfTheSessionInABox()
    {
        Start(true);
        Press("btnClone");
        boxes.ExpectError("Machine serial number cannot be empty!");
        boxes.expected.last().meanwhile = [this] {
            QVERIFY(Dialog("Clone")->close() && window->close());
        };
        Child(Dialog("Clone"), "btnClone")->click();
        window.reset();
    }

    void centres()
    {
        QWidget under, over;
        under.setGeometry(100, 50, 512, 481);
        over.resize(701, 170);
        CenterWindow(&under, &over);
        QCOMPARE(over.pos(), QPoint(100 - 94, 50 + 155)); // rounded towards zero
        over.resize(over.screen()->size() - QSize(101, 0));
        CenterWindow(&over);
        QCOMPARE(over.pos(), QPoint(50, 0));
        over.resize(over.screen()->size() + QSize(61, 0));
        CenterWindow(&over);
        QCOMPARE(over.pos(), QPoint(-30, 0));
    }
};

QTEST_MAIN(MainWindowTest)
#include "mainwindowtest.moc"

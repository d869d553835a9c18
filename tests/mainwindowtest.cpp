// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "norvoclonerestore.h"
#include "stand.h"
#include "utility.h"

#include <QGuiApplication>
#include <QScreen>
#include <cerrno>
#include <memory>

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

    QWidget* Dialog(const QString& name)
    {
        return Child<QWidget>(window.get(), name);
    }

private Q_SLOTS:
    void laysItselfOut_data()
    {
        QTest::addColumn<bool>("cloneVersion");
        QTest::addColumn<QString>("widgets");
        QTest::addColumn<QString>("dialogs");
        QTest::newRow("clone version")
            << true
            << "512,480|lblTitle 10,10|lblClone 140,140|lblRestore 140,260|lblRevManager 140,380|btnClone 20,120|"
               "btnRestore 20,240|btnRevManager 20,360"
            << "Clone|Restore|RevManager";
        QTest::newRow("restore only") << false
                                      << "512,360|lblTitle 10,10|lblRestore 140,140|lblRevManager 140,260|"
                                         "btnRestore 20,120|btnRevManager 20,240"
                                      << "Restore|RevManager";
    }

    void laysItselfOut()
    {
        QFETCH(bool, cloneVersion);
        Start(cloneVersion);
        QCOMPARE(window->windowTitle(), QString("Norvo Clone-Restore 1.0.5"));
        QVERIFY(window->minimumSize() == window->size() && window->maximumSize() == window->size());
        QStringList widgets = {QString("%1,%2").arg(window->width()).arg(window->height())}, dialogs;
        for (QWidget* child : window->findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly)) {
            if (child->isWindow())
                dialogs.append(child->objectName());
            else if (child->isVisible() && child->isEnabled())
                widgets.append(QString("%1 %2,%3").arg(child->objectName()).arg(child->x()).arg(child->y()));
        }
        QTEST(widgets.join('|'), "widgets");
        QTEST(dialogs.join('|'), "dialogs");
        window->btnClone_clicked();
        QCOMPARE(window->isEnabled(), !cloneVersion);
    }

    void opensDialogs_data()
    {
        QTest::addColumn<QString>("dialog");
        QTest::addColumn<bool>("mounted");
        QTest::addColumn<int>("error");
        for (const char* dialog : {"Clone", "Restore", "RevManager"}) {
            for (const bool mounted : {true, false}) {
                QTest::addRow("%s, mounted: %d", dialog, mounted) << dialog << mounted << 0;
                QTest::addRow("%s, mounted: %d, fails", dialog, mounted) << dialog << mounted << EPERM;
            }
        }
    }

    /** Opens a dialog, presses its mount button and closes it; then what it did is to be seen in another one. */
    void opensDialogs()
    {
        QFETCH(QString, dialog);
        QFETCH(bool, mounted);
        QFETCH(int, error);
        Kernel::mountErrno = mounted ? 0 : ENOMEDIUM;
        Start(true);
        QWidget* const opened = Dialog(dialog);
        QVERIFY(opened->isHidden());
        Press(window.get(), "btn" + dialog);
        QVERIFY(opened->isVisible() && opened->isEnabled() && !window->isEnabled());
        QVERIFY(!window->close() && window->isVisible());
        QCOMPARE(Led(opened), QString(mounted ? "green" : "red"));

        Kernel::mountErrno = Kernel::umountErrno = error;
        if (error != 0)
            boxes.ExpectError(mounted ? "Unable to umount Rev!" : "Unable to mount Rev!");
        Press(opened, "btnMount");
        const QString led = (error != 0) == mounted ? "green" : "red";
        QCOMPARE(Led(opened), led);
        QVERIFY(opened->close() && opened->isHidden() && window->isEnabled());

        const QString other = dialog == "Restore" ? "Clone" : "Restore";
        Press(window.get(), "btn" + other);
        QCOMPARE(Led(Dialog(other)), led);
        Dialog(other)->close();
        Press(window.get(), "btn" + dialog);
        QVERIFY(Dialog(dialog) == opened && opened->isVisible());
        opened->close();
        QVERIFY(window->close());
        QCOMPARE(Kernel::calls.last(), QString("umount /mnt/rev/"));
        QCOMPARE(window->findChildren<QWidget*>(dialog).size(), 0);
    }

    void waitsForDf()
    {
        Start(false);
        commands.Add("df", "hold; echo Filesystem");
        commands.During("df", [this] {
            Press(window.get(), "btnRevManager");
            Press(window.get(), "btnRestore");
            QVERIFY(window->isEnabled() && Dialog("Restore")->isHidden() && Dialog("RevManager")->isHidden());
        });
        Press(window.get(), "btnRevManager");
        QCOMPARE(commands.Calls().size(), 1);
        QVERIFY(Dialog("RevManager")->isVisible() && Dialog("Restore")->isHidden());
    }

    void leavesTheDiskToTheFormatCommand()
    {
        Start(true);
        commands.Add("mkudffs", "hold");
        Press(window.get(), "btnRevManager");
        boxes.Expect("Warning|Format|Do you want to format Rev?\n\nAll data will be lost!|Format|Cancel");
        commands.During("mkudffs", [this] {
            const QStringList calls = Kernel::calls;
            Press(Dialog("RevManager"), "btnMount");
            Press(Dialog("RevManager"), "btnFormat");
            Press(Dialog("RevManager"), "btnCancel");
            QVERIFY(window->isEnabled() && Dialog("RevManager")->isHidden());
            for (const char* button : {"btnClone", "btnRestore", "btnRevManager"})
                Press(window.get(), button);
            QVERIFY(window->isEnabled());
            QCOMPARE(Kernel::calls, calls);
        });
        boxes.Expect("Information|Finish|Rev formatted successfully!|OK");
        Press(Dialog("RevManager"), "btnFormat");
        QCOMPARE(commands.Calls().filter("mkudffs").size(), 1);
    }

    void centres_data()
    {
        QTest::addColumn<QRect>("reference");
        QTest::addColumn<QSize>("size");
        QTest::addColumn<QPoint>("position");
        QTest::newRow("smaller") << QRect(100, 50, 512, 480) << QSize(422, 170) << QPoint(145, 205);
        QTest::newRow("odd") << QRect(0, 0, 640, 481) << QSize(701, 480) << QPoint(-30, 0);
        QTest::newRow("larger") << QRect(10, 20, 400, 200) << QSize(512, 361) << QPoint(-46, -60);
    }

    void centres()
    {
        QFETCH(QRect, reference);
        QFETCH(QSize, size);
        QFETCH(QPoint, position);
        QWidget under, over;
        under.setGeometry(reference);
        over.resize(size);
        CenterWindow(&under, &over);
        QCOMPARE(over.pos(), position);
        over.resize(QGuiApplication::primaryScreen()->size() - reference.size() + size);
        CenterWindow(&over);
        QCOMPARE(over.pos(), position - reference.topLeft());
    }
};

QTEST_MAIN(MainWindowTest)
#include "mainwindowtest.moc"

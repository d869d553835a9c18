// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "norvoclonerestore.h"
#include "stand.h"
#include "utility.h"

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

private Q_SLOTS:
    void laysItselfOut_data()
    {
        Columns<bool, QString>("cloneVersion", "widgets");
        Row("clone version", true,
            "512,480|lblTitle 10,10|lblClone 140,140|lblRestore 140,260|lblRevManager 140,380|btnClone 20,120|"
            "btnRestore 20,240|btnRevManager 20,360|Clone|Restore|RevManager");
        Row("restore only", false,
            "512,360|lblTitle 10,10|lblRestore 140,140|lblRevManager 140,260|btnRestore 20,120|btnRevManager 20,240|"
            "Restore|RevManager");
    }

    void laysItselfOut()
    {
        QFETCH(bool, cloneVersion);
        Start(cloneVersion);
        QCOMPARE(window->windowTitle(), QString("Norvo Clone-Restore 1.0.5"));
        QVERIFY(window->minimumSize() == window->size() && window->maximumSize() == window->size());
        QStringList widgets = {QString("%1,%2").arg(window->width()).arg(window->height())};
        for (QWidget* child : window->findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly)) {
            if (child->isWindow())
                widgets.append(child->objectName());
            else if (child->isVisible() && child->isEnabled())
                widgets.append(QString("%1 %2,%3").arg(child->objectName()).arg(child->x()).arg(child->y()));
        }
        QTEST(widgets.join('|'), "widgets");
        window->btnClone_clicked();
        QCOMPARE(window->isEnabled(), !cloneVersion);
    }

    void opensDialogs_data()
    {
        Columns<QString, bool, int>("dialog", "mounted", "error");
        for (const char* dialog : {"Clone", "Restore", "RevManager"}) {
            for (const bool mounted : {true, false}) {
                for (const int error : {0, EPERM})
                    QTest::addRow("%s, mounted: %d, error: %d", dialog, mounted, error) << dialog << mounted << error;
            }
        }
    }

    /** Opens a dialog, presses its mount button and closes it; what that did is to be seen in another dialog. */
    void opensDialogs()
    {
        QFETCH(QString, dialog);
        QFETCH(bool, mounted);
        QFETCH(int, error);
        Kernel::mountErrno = mounted ? 0 : ENOMEDIUM;
        Start(true);
        QWidget* const opened = Dialog(dialog);
        Press("btn" + dialog);
        QVERIFY(opened->isVisible() && opened->isEnabled() && !window->isEnabled());
        QVERIFY(!window->close() && window->isVisible());
        QCOMPARE(Led(opened), QString(mounted ? "green" : "red"));

        Kernel::mountErrno = Kernel::umountErrno = error;
        if (error != 0)
            boxes.ExpectError(mounted ? "Unable to umount Rev!" : "Unable to mount Rev!");
        Child(opened, "btnMount")->click();
        const QString led = (error != 0) == mounted ? "green" : "red";
        QCOMPARE(Led(opened), led);
        QVERIFY(opened->close() && opened->isHidden() && window->isEnabled());

        const QString other = dialog == "Restore" ? "Clone" : "Restore";
        Press("btn" + other);
        QCOMPARE(Led(Dialog(other)), led);
        Dialog(other)->close();
        Press("btn" + dialog);
        QVERIFY(Dialog(dialog) == opened && opened->isVisible());
        opened->close();
        QVERIFY(window->close() && Dialog(dialog) == nullptr);
        QCOMPARE(Kernel::calls.last(), QString("umount /mnt/rev/"));
    }

    void waitsForDf()
    {
        Start(false);
        commands.Add("df", "hold; echo Filesystem");
        commands.During("df", [this] {
            Press("btnRevManager");
            Press("btnRestore");
            QVERIFY(window->isEnabled() && Dialog("Restore")->isHidden() && Dialog("RevManager")->isHidden());
        });
        Press("btnRevManager");
        QCOMPARE(commands.Calls().size(), 1);
        QVERIFY(Dialog("RevManager")->isVisible() && Dialog("Restore")->isHidden());
    }

    void leavesTheDiskToTheFormatCommand()
    {
        Start(true);
        commands.Add("mkudffs", "hold");
        Press("btnRevManager");
        boxes.expected.append({"Warning|Format|Do you want to format Rev?\n\nAll data will be lost!|Format|Cancel"});
        boxes.expected.append({"Information|Finish|Rev formatted successfully!|OK"});
        commands.During("mkudffs", [this] {
            const QStringList calls = Kernel::calls;
            for (const char* button : {"btnMount", "btnFormat", "btnCancel"})
                Child(Dialog("RevManager"), button)->click();
            QVERIFY(window->isEnabled() && Dialog("RevManager")->isHidden());
            for (const char* button : {"btnClone", "btnRestore", "btnRevManager"})
                Press(button);
            QVERIFY(window->isEnabled());
            QCOMPARE(Kernel::calls, calls);
        });
        Child(Dialog("RevManager"), "btnFormat")->click();
        QCOMPARE(commands.Calls().filter("mkudffs").size(), 1);
    }

    void centres_data()
    {
        Columns<QRect, QSize, QPoint>("reference", "size", "position");
        Row("smaller", QRect(100, 50, 512, 480), QSize(422, 170), QPoint(145, 205));
        Row("odd", QRect(0, 0, 640, 481), QSize(701, 480), QPoint(-30, 0));
        Row("larger", QRect(10, 20, 400, 200), QSize(512, 361), QPoint(-46, -60));
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
        over.resize(over.screen()->size() - reference.size() + size); // as large against the screen
        CenterWindow(&over);
        QCOMPARE(over.pos(), position - reference.topLeft());
    }
};

QTEST_MAIN(MainWindowTest)
#include "mainwindowtest.moc"

// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "stand.h"

#include <QApplication>
#include <algorithm>
#include <vector>

int RunProgram(int argc, char* argv[]); ///< the program's main()

namespace {
std::function<void(QWidget*)> operate; ///< what the operator does to the main window

void LetOperate()
{
    QTimer::singleShot(0, qApp, [] {
        const QWidgetList windows = QApplication::topLevelWidgets();
        operate(*std::find_if(windows.begin(), windows.end(), [](const QWidget* window) {
            return window->objectName() == "mainDlg";
        }));
    });
}
} // namespace
Q_COREAPP_STARTUP_FUNCTION(LetOperate)

class ProgramTest : public QObject
{
    Q_OBJECT

private:
    static int Run(QByteArrayList arguments)
    {
        arguments.prepend("norvoclonerestore");
        std::vector<char*> argv;
        for (QByteArray& argument : arguments)
            argv.push_back(argument.data());
        argv.push_back(nullptr);
        return RunProgram(static_cast<int>(arguments.size()), argv.data());
    }

private Q_SLOTS:
    void initTestCase()
    {
        RequireSandbox();
    }

    void readsTheCommandLine_data()
    {
        Columns<QByteArrayList, int>("arguments", "height");
        Row("none", QByteArrayList(), 360);
        Row("-C", QByteArrayList{"-C"}, 480);
        Row("-C first", QByteArrayList{"-C", "document"}, 480);
        Row("-C last", QByteArrayList{"file:///a", "-C"}, 480);
        Row("longer", QByteArrayList{"-Clone"}, 360);
        Row("two dashes", QByteArrayList{"--C"}, 360);
    }

    void readsTheCommandLine()
    {
        QFETCH(QByteArrayList, arguments);
        QSize size;
        operate = [&size](QWidget* window) {
            size = window->size();
            window->close();
        };
        QCOMPARE(Run(arguments), 0);
        QTEST(size.height(), "height");
    }

    void endsWhileDfRuns()
    {
        Commands commands;
        commands.Add("df", "hold; echo Filesystem");
        operate = [&commands](QWidget* window) {
            commands.During("df", [window] {
                QVERIFY(window->close());
            });
            window->findChild<QPushButton*>("btnRevManager")->click();
            for (const QWidget* shown : QApplication::topLevelWidgets())
                QVERIFY(shown->isHidden());
        };
        QCOMPARE(Run({}), 0);
        QCOMPARE(commands.waiting, 0);
        QCOMPARE(Kernel::calls.last(), QString("umount /mnt/rev/"));
    }
};

QTEST_APPLESS_MAIN(ProgramTest)
#include "programtest.moc"

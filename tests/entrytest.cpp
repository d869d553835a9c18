// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "stand.h"

#include "instance.h"

#include <QApplication>
#include <QTemporaryDir>

int ProgramMain(int argc, char* argv[]);

namespace {
QString seen; ///< of the program's main window: mode and caption

/** Looks at the main window and closes it, once the program runs. */
void Visit()
{
    QTimer::singleShot(0, [] {
        for (QWidget* window : QApplication::topLevelWidgets()) {
            if (!window->isVisible())
                continue;
            seen += (window->findChild<QWidget*>("Clone") != nullptr ? "clone|" : "restore|") + window->windowTitle();
            window->close();
            return; // its dialogs are gone
        }
    });
}
Q_COREAPP_STARTUP_FUNCTION(Visit)
} // namespace

class EntryTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void choosesTheMode_data()
    {
        Columns<QByteArrayList, QString>("arguments", "mode");
        Row("nothing at all", QByteArrayList{}, "restore");
        Row("none", QByteArrayList{"program"}, "restore");
        Row("switch", QByteArrayList{"program", "URL", "-C"}, "clone");
        Row("longer", QByteArrayList{"program", "-C1"}, "restore");
    }

    void choosesTheMode()
    {
        QFETCH(QByteArrayList, arguments);
        std::vector<char*> argv;
        for (QByteArray& argument : arguments)
            argv.push_back(argument.data());
        argv.push_back(nullptr);
        seen.clear();
        QCOMPARE(ProgramMain(static_cast<int>(arguments.size()), argv.data()), 0);
        QFETCH(QString, mode);
        QCOMPARE(seen, mode + "|Norvo Clone-Restore 1.0.5");
    }

    void isAloneOnTheMachine()
    {
        const QTemporaryDir folder;
        const QByteArray path = folder.filePath("lock").toUtf8();
        {
            const Instance first(path.constData());
            QVERIFY(!first.IsSecond());
            QVERIFY(Instance(path.constData()).IsSecond());
        }
        QVERIFY(!Instance(path.constData()).IsSecond());
        QVERIFY(!Instance("/nowhere/lock").IsSecond());
    }
};

QTEST_APPLESS_MAIN(EntryTest)
#include "entrytest.moc"

// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "stand.h"

#include "instance.h"
#include "messagelanguage.h"

#include <KLocalizedString>

#include <QApplication>
#include <QMessageBox>
#include <QScreen>

int ProgramMain(int argc, char* argv[]);

namespace {
QStringList seen; ///< of the program's first window

QString Mode(const QWidget* window)
{
    if (qobject_cast<const QMessageBox*>(window) != nullptr)
        return "refused";
    return window->findChild<QWidget*>("Clone") != nullptr ? "clone" : "restore";
}

/** Looks at the first window and closes it, once the program runs. */
void Visit()
{
    QTimer::singleShot(0, [] {
        for (QWidget* window : QApplication::topLevelWidgets()) {
            if (!window->isVisible())
                continue;
            const QSize space = window->screen()->size() - window->size();
            seen = QStringList({Mode(window), window->windowTitle(), QApplication::applicationDisplayName(),
                KLocalizedString::languages().value(0), qEnvironmentVariable("LANGUAGE"),
                window->pos() == QPoint(space.width() / 2, space.height() / 2) ? "in the middle" : "elsewhere"});
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

private:
    static int Run(QByteArrayList arguments)
    {
        std::vector<char*> argv;
        for (QByteArray& argument : arguments)
            argv.push_back(argument.data());
        argv.push_back(nullptr);
        seen.clear();
        qputenv("LANGUAGE", "de:fr");
        return ProgramMain(static_cast<int>(arguments.size()), argv.data());
    }

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
        QCOMPARE(Run(arguments), 0);
        QFETCH(QString, mode);
        // The windows speak the operator's language, the commands English.
        QCOMPARE(seen, QStringList({mode, "Norvo Clone-Restore 1.0.5", "", "de", "C", "in the middle"}));
        MessageLanguage::SetOperators(); // as the window that a command opens
        QCOMPARE(qgetenv("LANGUAGE"), QByteArray("de:fr"));
    }

    void isAloneOnTheMachine()
    {
        {
            const Instance first;
            QVERIFY(!first.IsSecond());
            QCOMPARE(Run({"program"}), 1);
            QCOMPARE(seen.value(0), QString("refused"));
        }
        QVERIFY(!Instance().IsSecond());
        QVERIFY(!Instance("/nowhere/lock").IsSecond());
        QCOMPARE(
            QDir("/run").entryList(QDir::Files), QStringList("norvoclonerestore.lock")); // not the machine's folder
    }
};

QTEST_APPLESS_MAIN(EntryTest)
#include "entrytest.moc"

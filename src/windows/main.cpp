// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "about.h"
#include "instance.h"
#include "messagelanguage.h"
#include "norvoclonerestore.h"
#include "utility.h"

#include <KAboutData>
#include <KLocalizedString>

#include <QApplication>
#include <QCommandLineParser>
#include <QMessageBox>

#include <algorithm>
#include <cstring>
#include <memory>

#include <sys/stat.h>

namespace {
/** Lets the library report faults in the command line, and answer --help and --version; both end the program. */
void CheckCommandLine(KAboutData& about)
{
    QCommandLineParser parser;
    about.setupCommandLine(&parser);
    parser.addPositionalArgument(QStringLiteral("URL"), i18n("Document to open"), QStringLiteral("[URL]"));
    parser.addOption({QStringLiteral("C"), i18n("Clone Version")});

    // "-C" with more behind it is not the switch: it starts the program in restore-only mode instead of ending it.
    QStringList arguments = QCoreApplication::arguments();
    const auto longer = [](const QString& argument) {
        return argument.startsWith(QLatin1String("-C")) && argument.size() > 2;
    };
    arguments.erase(std::remove_if(arguments.begin() + 1, arguments.end(), longer), arguments.end());
    parser.process(arguments);
    about.processCommandLine(&parser);
}
} // namespace

int main(int argc, char* argv[])
{
    if (AnswersQuestion(argc, argv, "norvoclonerestore")) // also where there is no display
        return 0;
    umask(077); // what the commands of a run leave on the REV disk is a whole customer's

    const QString maker = QStringLiteral("Norvo Clone-Restore developers");
    const QString address = QStringLiteral("norvo-clone-restore@example.org");
    KAboutData about(QStringLiteral("norvoclonerestore"), QStringLiteral("NorvoCloneRestore"),
        QString::fromUtf8(ProgramVersion()), QStringLiteral("Norvo Clone-Restore"), KAboutLicense::Custom,
        QStringLiteral("(c) 2026 ") + maker, QString(), QString(), address);
    about.addAuthor(maker, QString(), address);

    // Looked up in the arguments as they were given: the application object takes out those that it knows itself.
    const bool cloneVersion = std::any_of(argv, argv + argc, [](const char* argument) {
        return std::strcmp(argument, "-C") == 0;
    });

    QApplication app(argc, argv);
    KLocalizedString::setApplicationDomain("norvoclonerestore");
    // The windows' language is known by now, while df's list, which the Rev manager reads, is in English.
    MessageLanguage::SetEnglish();
    KAboutData::setApplicationData(about);
    // Otherwise every caption would get the program's name added to it.
    QApplication::setApplicationDisplayName(QString());
    if (argc > 0)
        CheckCommandLine(about);

    const Instance instance;
    if (instance.IsSecond()) {
        QMessageBox::critical(nullptr, QStringLiteral("Norvo Clone-Restore"),
            i18n("Norvo Clone-Restore is running on this machine already. Look for its window, perhaps in another "
                 "session, and close it before you start it again."));
        return 1;
    }

    // The only window without a parent: the event loop ends when it is closed and no function of its dialogs waits any
    // more. It is deleted only then.
    const auto window = std::make_unique<NorvoCloneRestore>(nullptr, nullptr, Qt::WindowFlags());
    window->Init(cloneVersion, ProgramVersion());
    CenterWindow(window.get());
    window->show();
    return QApplication::exec();
}

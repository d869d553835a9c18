// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "reportsocket.h"

#include <KLed>

#include <QDir>
#include <QPushButton>
#include <QQueue>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <functional>
#include <memory>

/** The kernel's answers to mount(2) and umount(2), which the tests define in place of the C library. */
namespace Kernel {
inline int mountErrno = 0; ///< 0 for success
inline int umountErrno = 0;
inline int attributeErrno = 0;
inline QStringList attributes;        ///< calls of mount_setattr(2), as "target set clear"
inline QStringList calls;             ///< as "mount source target type flags data", "umount target"
inline std::function<void()> onMount; ///< called at each mount
} // namespace Kernel

inline QByteArray ReadFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline void WriteFile(const QString& path, const QByteArray& content)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    QVERIFY2(file.open(QIODevice::WriteOnly) && file.write(content) == content.size(), qPrintable(path));
}

/** Where `window` is when it is in the middle of `reference`. */
inline QPoint Middle(const QWidget* reference, const QWidget* window)
{
    const QSize space = reference->size() - window->size();
    return reference->pos() + QPoint(space.width() / 2, space.height() / 2);
}

/** The columns of a test's table. */
template <class... Types, class... Names> void Columns(Names... names)
{
    (QTest::addColumn<Types>(names), ...);
}

/** A row of a test's table. */
template <class... Values> void Row(const char* name, Values... values)
{
    (QTest::newRow(name) << ... << values);
}

/** Stand-ins for the external commands: the only commands on the search path, so that no real one can be run. */
class Commands
{
public:
    Commands();

    /**
     * Adds a command that records each call and then runs `body` in bash, builtins only. There, `hold` waits until an
     * action of During() is done.
     */
    void Add(const QString& name, const QByteArray& body = {});

    /** Once `name` has been called, does `action` and lets the command go on. */
    void During(const QString& name, const std::function<void()>& action);

    /** The calls so far, as "name|argument|argument". */
    QStringList Calls() const
    {
        return QString::fromUtf8(ReadFile(dir.filePath("calls"))).split('\n', Qt::SkipEmptyParts);
    }

    void Clear();

    QTemporaryDir dir; ///< of the commands; "calls" is the record, "directories" that of their working directories
    int waiting = 0;   ///< actions of During() that have not been done

private:
    int gate;
    QObject context;
};

/** A report that begins to listen some time in a run, as one that is opened by the run's first command. */
class ReportStandIn
{
public:
    void Listen(const QString& folder)
    {
        qputenv("XDG_RUNTIME_DIR", folder.toUtf8());
        listening = ReportSocket::Listen();
        QVERIFY(listening.socket);
    }

    /** What was said to it on the one connection, which has ended. */
    QStringList Heard() const;

private:
    ReportSocket::Listening listening;
};

// Boxes, as Boxes expects them.
inline const QString formatQuestion
    = "Warning|Format|Do you want to format Rev?\n\nAll data will be lost!|Format|Cancel";
inline const QString formatted = "Information|Finish|Rev formatted successfully!|OK";

/** Answers modal message boxes. A box that comes unexpected or with another content fails the test. */
class Boxes
{
public:
    Boxes();

    struct Expected
    {
        QString box;                               ///< as "Icon|caption|text|button|button"
        Qt::Key answer = Qt::Key_Return;           ///< what the operator presses
        std::function<void()> meanwhile = nullptr; ///< done while the box is open
    };
    QQueue<Expected> expected;

    /** Expects nothing when the text is empty. */
    void ExpectError(const QString& text)
    {
        if (!text.isEmpty())
            expected.append({"Critical|Error|" + text + "|OK"});
    }

private:
    void Answer();

    QTimer timer;
};

/** What the tests of the windows share. Each test starts with empty /mnt/rev and /etc/mtab and a willing kernel. */
class Stand : public QObject
{
    Q_OBJECT

protected:
    Commands commands;
    Boxes boxes;

    /** The child of that name; a window's own children come before its dialogs'. */
    template <class Widget = QPushButton> static Widget* Child(QWidget* window, const QString& name)
    {
        return window->findChild<Widget*>(name);
    }

    /** The colour of a dialog's LED: "green", "red", or another one's number. */
    static QString Led(QWidget* dialog)
    {
        const QColor color = dialog->findChild<KLed*>()->color();
        return color == Qt::green ? "green" : color == Qt::red ? "red" : color.name();
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY2(qEnvironmentVariableIsSet("NORVO_TEST_SANDBOX"), "to be run by tests/sandbox");
    }
    void init();
    void cleanup();
};

/** For the tests of one dialog: shows it over a main window. */
template <class Dialog> class DialogStand : public Stand
{
protected:
    QWidget mainWindow;
    std::unique_ptr<Dialog> dialog;
    bool flag = true; ///< whether the REV disk is mounted

    /** Shows a new dialog as the main window does: with that disabled, and the disk mounted. */
    void Open()
    {
        flag = true;
        mainWindow.setEnabled(false);
        dialog = std::make_unique<Dialog>(&mainWindow, "Dialog", Qt::Window);
        dialog->Init(&flag);
        dialog->show();
    }

    void Press(const QString& button)
    {
        Child(dialog.get(), button)->click();
    }
};

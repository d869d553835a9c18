// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <QPushButton>
#include <QQueue>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <functional>

/** The kernel's answers to mount(2) and umount(2), which the tests define in place of the C library. */
namespace Kernel {
extern int mountErrno; ///< 0 for success
extern int umountErrno;
extern QStringList calls; ///< as "mount source target type flags data", "umount target"
} // namespace Kernel

/** Stand-ins for the external commands: the only commands on the search path, so that no real one can be run. */
class Commands
{
public:
    Commands();
    ~Commands();

    /**
     * Adds a command that records each call and then runs `body` in bash, builtins only. There, `hold` waits until an
     * action of During() is done.
     */
    void Add(const QString& name, const QByteArray& body = {});

    /** A body that prints these bytes, in one piece or one by one. */
    static QByteArray Print(const QByteArray& bytes, bool oneByOne = false);

    /** Once `name` has been called, does `action` and lets the command go on. */
    void During(const QString& name, const std::function<void()>& action);

    /** The calls so far, as "name|argument|argument". */
    QStringList Calls() const
    {
        return Lines("calls");
    }
    /** The working directory of each call. */
    QStringList Directories() const
    {
        return Lines("directories");
    }
    void Clear();

    int waiting = 0; ///< actions of During() that have not been done

private:
    QStringList Lines(const QString& file) const;

    QTemporaryDir dir;
    QByteArray searchPath;
    int gate = -1;
    QObject context;
};

/** Answers modal message boxes. A box that comes unexpected or with another content fails the test. */
class Boxes
{
public:
    Boxes();

    /**
     * @param box as "Icon|caption|text|button|button"
     * @param answer the key that the operator presses
     * @param meanwhile done while the box is open
     */
    void Expect(const QString& box, Qt::Key answer = Qt::Key_Return, const std::function<void()>& meanwhile = {});
    /** Expects nothing when the text is empty. */
    void ExpectError(const QString& text);

    struct Expected
    {
        QString box;
        Qt::Key answer;
        std::function<void()> meanwhile;
    };
    QQueue<Expected> expected;

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
        auto* const child = window->findChild<Widget*>(name);
        Q_ASSERT_X(child != nullptr, "Child", qPrintable(name));
        return child;
    }
    static void Press(QWidget* window, const QString& button);
    /** The colour of a dialog's LED: "green", "red", or another one's number. */
    static QString Led(QWidget* dialog);
    static void WriteFile(const QString& path, const QByteArray& content);
    static QByteArray ReadFile(const QString& path);

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
};

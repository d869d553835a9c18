// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <QEventLoopLocker>
#include <QObject>

/** Tells whether a function of some window is waiting, for a command or for the operator's answer to a message box. */
class BusyMonitor : public QObject
{
    Q_OBJECT

public:
    /** The only one. */
    static BusyMonitor& Instance();

    bool IsBusy() const
    {
        return depth > 0;
    }

Q_SIGNALS:
    void changed(bool busy);

private:
    friend class Busy;
    int depth = 0; ///< how many Busy there are
};

/**
 * Held by a function that waits while events are processed, from its beginning to its end; may be held more than once.
 * As long as it is, the dialogs are not deleted, no second function of that kind is started, and the program goes on
 * even if its last window is closed.
 */
class Busy
{
public:
    Busy();
    ~Busy();
    Q_DISABLE_COPY(Busy)

private:
    QEventLoopLocker keepsProgramRunning;
};

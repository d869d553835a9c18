// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "reportsocket.h"

#include <QHash>
#include <QObject>

class QSocketNotifier;

/** Listens on the socket for the program and the commands of this user; there is one listener at a time. */
class Listener : public QObject
{
    Q_OBJECT

public:
    explicit Listener(QObject* parent = nullptr);
    ~Listener() override;
    Q_DISABLE_COPY(Listener)

    /** Whether it listens: by what is given or, without it, by what it makes itself where nobody else listens. */
    bool Start(ReportSocket::Listening given = {});

Q_SIGNALS:
    void said(int connection, const QByteArray& line);
    void closed(int connection);
    /** All that was said so far has been heard, whatever connection it came on. */
    void quiet();

private:
    void ReadAll();
    bool Accept();
    bool Read(int connection);
    void Drop(int connection);

    struct Peer
    {
        QSocketNotifier* notifier = nullptr;
        QByteArray rest; ///< the beginning of a line
    };
    ReportSocket::Listening listening;
    QHash<int, Peer> peers; ///< by their descriptors
};

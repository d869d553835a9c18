// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <QHash>
#include <QObject>

class QSocketNotifier;

/** Listens on the socket for the commands of this user; there is one listener at a time. */
class Listener : public QObject
{
    Q_OBJECT

public:
    explicit Listener(QObject* parent = nullptr);
    ~Listener() override;
    Q_DISABLE_COPY(Listener)

    /** Whether it listens; not where there is a listener already, or no folder for the socket. */
    bool Start();

    /** Another connection to listen to. */
    void Take(int connection);

Q_SIGNALS:
    void said(int connection, const QByteArray& line);
    void closed(int connection);

private:
    void Accept();
    void Read(int connection);
    void Drop(int connection);

    struct Peer
    {
        QSocketNotifier* notifier = nullptr;
        QByteArray rest; ///< the beginning of a line
    };
    int socket = -1;
    int lock = -1;
    QHash<int, Peer> peers; ///< by their descriptors
};

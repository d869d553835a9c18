// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <QDialog>
#include <QProcess>

class QLabel;
class QVBoxLayout;

/** Hidden while the program runs; asks what next when it has ended. It can't be closed: there is nothing behind it. */
class SessionWindow : public QDialog
{
    Q_OBJECT

public:
    /** With `clone` the program is started in its clone version. */
    explicit SessionWindow(bool clone);

    static QString Title();

public Q_SLOTS:
    void StartProgram();
    void reject() override;

private:
    void AddButton(QVBoxLayout* layout, const QString& text, void (SessionWindow::*action)());
    void Ask();
    void SwitchOff();
    void Restart();
    bool IsMeant(const QString& question, const QString& answer);
    void OpenTerminal();
    void SaveLog();
    void Run(const QString& program, const QStringList& arguments);

    const QStringList mode;
    QProcess program;
    QLabel* result = nullptr;
};

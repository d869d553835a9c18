// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "restoreoutputdlg.h"

class QTextCharFormat;

/**
 * The restore output window: the transcript of a restore run. It can't be closed until CloseEnabled() was called;
 * closing it empties it, enables the restore dialog and closes that too.
 */
class RestoreOutput : public restoreoutputdlg
{
    Q_OBJECT

public:
    /** @param parent the restore dialog; enabled and sent a close event when this window is closed */
    RestoreOutput(QWidget* parent, const char* name, Qt::WindowFlags fl);

    // Each appends its text, unchanged and as plain text, as one new paragraph; line feeds in it start new lines. The
    // view stays at the transcript's end if it was there.

    /** Normal weight, black. */
    void appendOutput(const QString& text);
    /** Red. */
    void appendError(const QString& text);
    /** Bold. */
    void appendCommand(const QString& text);

    /** Lets the operator close the window: the run is over. */
    void CloseEnabled();

    /** Hides and empties the window for the next run, and ends the restore dialog's showing. */
    void Close();

public Q_SLOTS:
    void btnClose_clicked() override;
    void closeEvent(QCloseEvent* e) override;

private:
    void Append(const QString& text, const QTextCharFormat& format);

    QWidget* parent;
};

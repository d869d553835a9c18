// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "restoreoutput.h"

#include <QApplication>
#include <QCloseEvent>
#include <QScrollBar>
#include <QTextCursor>

RestoreOutput::RestoreOutput(QWidget* parent, const char* name, Qt::WindowFlags fl)
    : restoreoutputdlg(parent, name, fl)
    , parent(parent)
{
    txtOutput->setReadOnly(true);
    txtOutput->setLineWrapMode(QTextEdit::NoWrap);
    // Nothing here is ever undone, and each appended text would be kept a second time for it.
    txtOutput->setUndoRedoEnabled(false);
    btnClose->setEnabled(false);
}

void RestoreOutput::appendOutput(const QString& text)
{
    Append(text, QTextCharFormat());
}

void RestoreOutput::appendError(const QString& text)
{
    QTextCharFormat format;
    format.setForeground(Qt::red);
    Append(text, format);
}

void RestoreOutput::appendCommand(const QString& text)
{
    QTextCharFormat format;
    format.setFontWeight(QFont::Bold);
    Append(text, format);
}

void RestoreOutput::Append(const QString& text, const QTextCharFormat& format)
{
    QScrollBar* const bar = txtOutput->verticalScrollBar();
    const bool atEnd = bar->value() == bar->maximum();
    // Not QTextEdit::append(), which takes what looks like markup for markup.
    QTextCursor cursor(txtOutput->document());
    cursor.movePosition(QTextCursor::End);
    if (!txtOutput->document()->isEmpty())
        cursor.insertBlock();
    cursor.insertText(text, format);
    if (atEnd)
        bar->setValue(bar->maximum());
}

void RestoreOutput::CloseEnabled()
{
    btnClose->setEnabled(true);
}

void RestoreOutput::Close()
{
    hide();
    parent->setEnabled(true);
    txtOutput->clear();
    btnClose->setEnabled(false);
    QCloseEvent close;
    close.ignore();
    QApplication::sendEvent(parent, &close);
}

void RestoreOutput::btnClose_clicked()
{
    Close();
}

void RestoreOutput::closeEvent(QCloseEvent* e)
{
    if (!btnClose->isEnabled()) {
        e->ignore();
        return;
    }
    e->accept();
    Close();
}

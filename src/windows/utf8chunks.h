// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include <QByteArray>
#include <QString>

/** Turns bytes that arrive in chunks into text; a character whose bytes are split over two chunks arrives whole. */
class Utf8Chunks
{
public:
    /**
     * The text of everything that has arrived and was not returned yet, up to the chunk's first NUL byte. The beginning
     * of a character at the chunk's end is kept for the next call. Bytes that are not UTF-8 become U+FFFD.
     */
    QString Decode(const QByteArray& chunk);

    /** What is still kept, which no further chunk can complete. */
    QString Rest();

private:
    QByteArray pending;
};

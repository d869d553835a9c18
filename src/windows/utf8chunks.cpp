// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "utf8chunks.h"

#include <utility>

namespace {
/** How many bytes the character that begins with `first` has in UTF-8; 1 for bytes that begin none. */
int CharacterLength(unsigned char first)
{
    if (first >= 0xf0 && first <= 0xf4)
        return 4;
    if (first >= 0xe0 && first < 0xf0)
        return 3;
    if (first >= 0xc2 && first < 0xe0)
        return 2;
    return 1;
}

/** How many bytes at the end of `bytes` are the beginning of a character and no more. */
int IncompleteTail(const QByteArray& bytes)
{
    const int size = static_cast<int>(bytes.size());
    for (int tail = 1; tail <= qMin(3, size); ++tail) {
        const auto byte = static_cast<unsigned char>(bytes.at(size - tail));
        if ((byte & 0xc0) != 0x80)
            return CharacterLength(byte) > tail ? tail : 0;
    }
    return 0;
}
} // namespace

QString Utf8Chunks::Decode(const QByteArray& chunk)
{
    QByteArray bytes = std::exchange(pending, {}) + chunk;
    const auto end = bytes.indexOf('\0');
    if (end >= 0) {
        bytes.truncate(end);
        return QString::fromUtf8(bytes);
    }
    const int tail = IncompleteTail(bytes);
    pending = bytes.right(tail);
    bytes.chop(tail);
    return QString::fromUtf8(bytes);
}

QString Utf8Chunks::Rest()
{
    return QString::fromUtf8(std::exchange(pending, {}));
}

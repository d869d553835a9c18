// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "remark.h"

std::string Remark::Text() const
{
    std::string filled;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::size_t name = text[i] == '%' && i + 1 < text.size() ? text[i + 1] - std::size_t('1') : names.size();
        if (name < names.size()) {
            filled += names[name].Text();
            ++i;
        } else {
            filled += text[i];
        }
    }
    return filled;
}

// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "authenticity.h"

#include "failure.h"

void JudgeAuthenticity(const std::string& what, const std::function<Remark(const Authentication& key)>& faultOf)
{
    const auto key = Authentication::Read();
    if (!key)
        return;
    const std::string fault = faultOf(*key).Text();
    if (fault.empty())
        Say(what + " is authentic");
    else if (key->IsRequired())
        throw Failure(ExitStatus::Refused,
            "not authenticated: " + fault + "; " + Authentication::file
                + " has require-authentic: nothing was written");
    else
        Warn("not authenticated: " + fault);
}

// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "busy.h"

BusyMonitor& BusyMonitor::Instance()
{
    static BusyMonitor monitor;
    return monitor;
}

Busy::Busy()
{
    if (BusyMonitor::Instance().depth++ == 0)
        Q_EMIT BusyMonitor::Instance().changed(true);
}

Busy::~Busy()
{
    if (--BusyMonitor::Instance().depth == 0)
        Q_EMIT BusyMonitor::Instance().changed(false);
}

// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "programicon.h"

// Outside any function, since it declares a function of the global namespace. The linker would leave out the
// picture of a static library that nothing refers to.
static void RegisterIcon()
{
    Q_INIT_RESOURCE(icon);
}

QIcon ProgramIcon()
{
    RegisterIcon();
    return QIcon(QStringLiteral(":/programicon"));
}

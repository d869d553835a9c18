// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "formimage.h"

// Outside any function, since it declares a function of the global namespace. The linker would leave out the
// pictures of a static library that nothing refers to.
static void RegisterImages()
{
    Q_INIT_RESOURCE(images);
}

QPixmap FormImage(const QString& name)
{
    RegisterImages();
    return QPixmap(QStringLiteral(":/") + name);
}

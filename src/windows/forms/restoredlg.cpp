// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "restoredlg.h"

#include "fittexts.h"
#include "formimage.h"

#include <QHeaderView>
#include <QMouseEvent>
#include <QStyledItemDelegate>
#include <QtDebug>

namespace {
QPoint Position(const QMouseEvent* e)
{
#if QT_VERSION_MAJOR >= 6
    return e->position().toPoint();
#else
    return e->pos();
#endif
}

/** A list header whose first section alone reacts to the mouse. */
class FirstSectionHeader : public QHeaderView
{
public:
    explicit FirstSectionHeader(QWidget* parent)
        : QHeaderView(Qt::Horizontal, parent)
    {
        setSectionResizeMode(QHeaderView::ResizeToContents);
        setStretchLastSection(false);
        setSectionsClickable(true);
    }

protected:
    void mousePressEvent(QMouseEvent* e) override
    {
        if (logicalIndexAt(Position(e)) == 0)
            QHeaderView::mousePressEvent(e);
    }
};

/** Draws what stands below a disabled row as usual: the toolkit takes it for disabled, too. */
class RowsOwnState : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override
    {
        QStyledItemDelegate::initStyleOption(option, index);
        if (!index.parent().isValid())
            return;
        option->state |= QStyle::State_Enabled;
        option->palette.setCurrentColorGroup(QPalette::Active);
    }
};
} // namespace

restoreDlg::restoreDlg(QWidget* parent, const char* name, Qt::WindowFlags fl)
    : QWidget(parent, fl)
    , img0(FormImage(QStringLiteral("img0_restoredlg")))
    , img1(FormImage(QStringLiteral("img1_restoredlg")))
{
    setObjectName(QString::fromUtf8(name));
    setupUi(this);
    setWindowIcon(img0);
    btnMount->setIcon(img1);
    lstPartitions->setHeader(new FirstSectionHeader(lstPartitions));
    lstPartitions->setItemDelegate(new RowsOwnState(lstPartitions));
    lstPartitions->setSortingEnabled(true);
    lstPartitions->sortByColumn(0, Qt::AscendingOrder);
    restoreDlg::languageChange();
    resize(baseSize().expandedTo(minimumSizeHint()));
}

void restoreDlg::btnCancelRestore_clicked()
{
    qWarning("restoreDlg::btnCancelRestore_clicked(): Not implemented yet");
}

void restoreDlg::cmbSerial_activated(const QString&)
{
    qWarning("restoreDlg::cmbSerial_activated(const QString&): Not implemented yet");
}

void restoreDlg::cmbDate_activated(const QString&)
{
    qWarning("restoreDlg::cmbDate_activated(const QString&): Not implemented yet");
}

void restoreDlg::btnStartRestore_clicked()
{
    qWarning("restoreDlg::btnStartRestore_clicked(): Not implemented yet");
}

void restoreDlg::btnMount_clicked()
{
    qWarning("restoreDlg::btnMount_clicked(): Not implemented yet");
}

void restoreDlg::languageChange()
{
    retranslateUi(this);
    FitTexts(this);
}

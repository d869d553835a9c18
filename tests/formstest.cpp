// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "clonedlg.h"
#include "norvoclonerestoredlg.h"
#include "restoredlg.h"
#include "restoreoutputdlg.h"
#include "revmanagerdlg.h"

#include <KLed>

#include <QTest>
#include <memory>

namespace {
template <class Form> QWidget* Make(const char* name)
{
    return new Form(nullptr, name, Qt::Window);
}

/** The named widgets of a form, in the order of their creation. */
QList<QWidget*> Widgets(const QWidget* form)
{
    QList<QWidget*> widgets;
    for (QWidget* widget : form->findChildren<QWidget*>()) {
        if (widget->parent() == form || qobject_cast<QGroupBox*>(widget->parent()) != nullptr)
            widgets.append(widget);
    }
    return widgets;
}

QString SizeText(const QSize& size)
{
    return QString("%1x%2").arg(size.width()).arg(size.height());
}

/** As "name class x,y WxH picture [title] [text] [shortcut]" with what is out of the ordinary behind. */
QString Description(const QWidget* widget)
{
    const auto* const button = qobject_cast<const QAbstractButton*>(widget);
    const auto* const led = qobject_cast<const KLed*>(widget);
    const auto* const label = qobject_cast<const QLabel*>(widget);
    const auto picture = widget->property("pixmap").value<QPixmap>();
    QString text = QString("%1 %2 %3,%4 ")
                       .arg(widget->objectName(), widget->metaObject()->className())
                       .arg(widget->x())
                       .arg(widget->y())
        + SizeText(widget->size());
    if (button != nullptr && !button->icon().isNull())
        text += " picture " + SizeText(button->icon().actualSize(button->iconSize()));
    if (!picture.isNull())
        text += " picture " + SizeText(picture.size()) + (label->hasScaledContents() ? " scaled" : "");
    for (const char* property : {"title", "text", "shortcut"}) {
        if (const QString value = widget->property(property).toString(); !value.isEmpty())
            text += " [" + value + ']';
    }
    if (!widget->isEnabled())
        text += " disabled";
    if (button != nullptr && button->isChecked())
        text += " checked";
    if (led != nullptr && led->shape() == KLed::Rectangular)
        text += " rectangular";
    return text;
}
} // namespace

class FormsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void forms_data()
    {
        QTest::addColumn<QString>("caption");
        QTest::addColumn<QString>("tabOrder");
        QTest::addColumn<QString>("widgets");
        QTest::newRow("mainDlg") << "[Norvo Clone-Restore ] 512x480"
                                 << "btnClone btnRestore btnRevManager"
                                 << R"(lblTitle QLabel 10,10 491x91 [<p align="center">Norvo Clone-Restore</p>]
lblClone QLabel 140,140 361x70 [<b><font size="+3" face="Sans Serif">Clone</font></b>

<p>Create an Hard Disk image and store it on Iomega Rev</p>]
lblRestore QLabel 140,260 361x71 [<b><font size="+3" face="Sans Serif">Restore</font></b>

<p>Restore an image from Iomega Rev to Hard Disk</p>]
lblRevManager QLabel 140,380 361x71 [<b><font size="+3" face="Sans Serif">Rev Manager</font></b>

<p>Format and manage Iomega Rev</p>]
btnClone QPushButton 20,120 111x111 picture 100x100
btnRestore QPushButton 20,240 111x111 picture 100x100
btnRevManager QPushButton 20,360 111x111 picture 100x100)";
        QTest::newRow("cloneDlg") << "[Clone] 422x170"
                                  << "edtSerial edtSerialAgain edtDate btnMount btnCancel btnClone"
                                  << R"(txtSerial QLabel 10,10 131x21 [Machine serial number:]
btnClone QPushButton 340,140 70x20 [Clo&ne] [Alt+N]
edtDate QLineEdit 150,70 260x21 disabled
grpRevStatus QGroupBox 10,100 80x61 [Rev Status]
ledRevStatus KLed 10,20 20x30 rectangular
btnMount QPushButton 40,20 31x31 picture 22x22
lblDate QLabel 10,70 131x21 [Image date:]
btnCancel QPushButton 269,140 61x21 [C&ancel] [Alt+A]
txtSerialAgain QLabel 10,40 131x21 [Reinsert serial number:]
edtSerialAgain QLineEdit 150,40 261x21
edtSerial QLineEdit 150,10 260x21)";
        QTest::newRow("restoreDlg")
            << "[Restore] 412x360"
            << "cmbSerial cmbDate lstPartitions chkSwap chkGrub btnMount btnCancelRestore btnStartRestore"
            << R"(lblSerial QLabel 10,10 132x21 [Machine serial number:]
lblDate QLabel 10,40 130x21 [Image date:]
cmbSerial QComboBox 150,10 251x21
cmbDate QComboBox 150,40 251x21
lstPartitions QTreeWidget 10,70 391x200
chkSwap QCheckBox 250,280 160x21 [Fromat swap partition(s)] checked
chkGrub QCheckBox 250,300 110x21 [Reinstall &GRUB] [Alt+G] checked
btnStartRestore QPushButton 330,330 71x21 [&Restore] [Alt+R]
btnCancelRestore QPushButton 250,330 71x21 [C&ancel] [Alt+A]
grpRevStatus QGroupBox 10,290 81x61 [Rev Status]
ledRevStatus KLed 10,20 21x30 rectangular
btnMount QPushButton 40,20 31x31 picture 22x22)";
        QTest::newRow("restoreoutputdlg") << "[Restore output] 412x250"
                                          << "txtOutput btnClose"
                                          << R"(txtOutput QTextEdit 10,10 390x200
btnClose QPushButton 330,220 71x21 [C&lose] [Alt+L])";
        QTest::newRow("revManagerDlg") << "[Rev Manager] 400x440"
                                       << "btnMount btnFormat btnCancel"
                                       << R"(grpUsage QGroupBox 10,10 381x130 [Usage]
lblUsed QLabel 130,70 230x21 [Used space:]
lblFree QLabel 130,100 230x21 [Free space:]
pxlRev QLabel 10,20 100x100 picture 93x45
pgbUsage QProgressBar 120,30 250x22 [0%]
grpStatus QGroupBox 10,140 380x130 [Status]
pklStatus QLabel 10,20 101x101 picture 105x105 scaled
lblStatus QLabel 130,20 240x21 [<p align="center">Mount / Umount</p>]
ledStatus KLed 200,60 40x40 rectangular
btnMount QPushButton 260,60 41x41 picture 22x22
grpFormat QGroupBox 10,270 380x130 [Format]
pxlFormat QLabel 10,20 100x100 picture 100x100
btnFormat QPushButton 210,90 70x21 [&Format] [Alt+F]
lblFormat QLabel 120,20 251x45 [<p align="center"><b>Attention!</b></p>
<p align="center">All informations stored on Rev will be lost!</p>]
btnCancel QPushButton 320,410 70x21 [C&ancel] [Alt+A])";
    }

    void forms()
    {
        const QHash<QString, QWidget* (*)(const char*)> makers
            = {{"mainDlg", Make<mainDlg>}, {"cloneDlg", Make<cloneDlg>}, {"restoreDlg", Make<restoreDlg>},
                {"restoreoutputdlg", Make<restoreoutputdlg>}, {"revManagerDlg", Make<revManagerDlg>}};
        const QString name = QTest::currentDataTag();
        const auto make = makers.value(name);
        const std::unique_ptr<QWidget> form(make(nullptr)), named(make("Name"));
        QCOMPARE(form->objectName() + ' ' + named->objectName(), name + " Name");
        QTEST('[' + form->windowTitle() + "] " + SizeText(form->size()), "caption");
        for (const QSize& size : {form->minimumSize(), form->maximumSize(), form->baseSize()})
            QCOMPARE(size, form->size());
        QCOMPARE(form->windowIcon().actualSize({99, 99}), QSize(32, 32));

        QStringList descriptions;
        for (QWidget* widget : Widgets(form.get())) {
            descriptions.append(Description(widget));
            if (qobject_cast<QLabel*>(widget) != nullptr || qobject_cast<QCheckBox*>(widget) != nullptr)
                QVERIFY2(widget->sizeHint().width() <= widget->width() || widget->property("text").toString().isEmpty(),
                    qPrintable(descriptions.last()));
            if (qobject_cast<QPushButton*>(widget) != nullptr) {
                const QString slot = name + "::" + widget->objectName() + "_clicked(): Not implemented yet";
                QTest::ignoreMessage(QtWarningMsg, qPrintable(slot));
                static_cast<QPushButton*>(widget)->click();
            }
            if (auto* const box = qobject_cast<QComboBox*>(widget)) {
                const QString slot
                    = name + "::" + box->objectName() + "_activated(const QString&): Not implemented yet";
                QTest::ignoreMessage(QtWarningMsg, qPrintable(slot));
                Q_EMIT box->textActivated("text");
            }
        }
        QTEST(descriptions.join('\n'), "widgets");

        form->show();
        QVERIFY(QTest::qWaitForWindowActive(form.get()));
        QStringList tabOrder;
        QWidget* widget = form->focusWidget();
        do {
            if (Widgets(form.get()).contains(widget) && (widget->focusPolicy() & Qt::TabFocus) != 0)
                tabOrder.append(widget->objectName());
            widget = widget->nextInFocusChain();
        } while (widget != form->focusWidget());
        QTEST(tabOrder.join(' '), "tabOrder");
        if (name == "mainDlg") {
            const QFont font = form->findChild<QLabel*>("lblTitle")->font();
            QCOMPARE(QString("%1 %2").arg(font.family()).arg(font.pointSize()), QString("Sans Serif 36"));
        }
    }
};

QTEST_MAIN(FormsTest)
#include "formstest.moc"

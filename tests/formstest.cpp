// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "clonedlg.h"
#include "norvoclonerestoredlg.h"
#include "restoredlg.h"
#include "restoreoutputdlg.h"
#include "revmanagerdlg.h"
#include "stand.h"

#include <KLocalizedString>

#include <QApplication>
#include <QComboBox>
#include <QGroupBox>
#include <QLineEdit>
#include <QStyle>

#include <algorithm>
#include <clocale>

class FormsTest : public QObject
{
    Q_OBJECT

private:
    /** In tab order, beginning where the keyboard is when the window is shown. */
    static QString TabOrder(const QWidget& form)
    {
        QStringList names;
        QWidget* widget = form.focusWidget();
        do {
            if (!widget->objectName().startsWith("qt_") && (widget->focusPolicy() & Qt::TabFocus) != 0)
                names.append(widget->objectName());
            widget = widget->nextInFocusChain();
        } while (widget != form.focusWidget());
        return names.join(' ');
    }

    /** What the text of a widget needs, and what there is for it. */
    static bool Fits(const QWidget* widget)
    {
        const QFontMetrics font = widget->fontMetrics();
        QSize room = widget->size(), needed = widget->sizeHint();
        if (const auto* const button = qobject_cast<const QAbstractButton*>(widget)) {
            needed = font.size(Qt::TextShowMnemonic, button->text());
            if (qobject_cast<const QCheckBox*>(widget) != nullptr)
                room -= QSize(widget->style()->pixelMetric(QStyle::PM_IndicatorWidth), 0);
        } else if (const auto* const box = qobject_cast<const QGroupBox*>(widget)) {
            needed = font.size(0, box->title());
            room.setHeight(box->childrenRect().y());
        } else if (qobject_cast<const QLabel*>(widget) == nullptr) {
            needed = QSize(0, font.height());
        }
        return needed.width() <= room.width() && needed.height() <= room.height();
    }

    /** The widgets with a text that may have no room. */
    static QList<QWidget*> Texts(const QWidget& form)
    {
        QList<QWidget*> texts;
        for (QWidget* widget : form.findChildren<QWidget*>()) {
            const bool text = !widget->property("text").toString().isEmpty() || qobject_cast<QGroupBox*>(widget);
            if (text || qobject_cast<QLineEdit*>(widget) || qobject_cast<QComboBox*>(widget))
                texts.append(widget);
        }
        return texts;
    }

    /** Whether it would not fit if its font were only a little larger. */
    static bool IsTight(QWidget* widget)
    {
        const QFont font = widget->font();
        QFont larger = font;
        larger.setStretch(QFont::Unstretched);
        larger.setPointSizeF(font.pointSizeF() + 1);
        widget->setFont(larger);
        const bool isTight = !Fits(widget);
        widget->setFont(font);
        return isTight;
    }

    /** All texts fit, are smaller by the same measure, and only as much as one of them needs. */
    template <class Form> static void CheckFonts()
    {
        Form form(nullptr, nullptr, Qt::Window);
        form.show();
        const QFont before = QApplication::font();
        for (const int points : {9, 12, 16, 9}) {
            QFont font = before;
            font.setPointSize(points);
            QApplication::setFont(font);
            QApplication::processEvents();
            const QList<QWidget*> texts = Texts(form);
            QStringList measures;
            for (const QWidget* widget : texts) {
                QVERIFY2(Fits(widget), qPrintable(widget->objectName()));
                const qreal natural = widget->objectName() == "lblTitle" ? 36 : points;
                const int stretch = widget->font().stretch();
                measures.append(QString("%1 %2")
                                    .arg(widget->font().pointSizeF() / natural, 0, 'f', 2)
                                    .arg(stretch == 0 ? int(QFont::Unstretched) : stretch));
            }
            measures.removeDuplicates();
            QCOMPARE(measures.size(), 1);
            if (measures.first() != "1.00 100")
                QVERIFY(std::any_of(texts.begin(), texts.end(), IsTight));
        }
        QApplication::setFont(before);
    }

    /** The name of the picture, as its file's; empty for none. */
    static QString Picture(const QPixmap& shown)
    {
        const auto plain = [](const QImage& image) {
            return image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
        };
        for (const QFileInfo& file : QDir(TEST_DATA "/../../src/windows/forms/images").entryInfoList({"*.png"})) {
            if (!shown.isNull() && plain(shown.toImage()) == plain(QImage(file.filePath())))
                return file.baseName();
        }
        return {};
    }

    /** Name, place, text, and what else matters: accelerator, picture, shape, whether it takes no input. */
    static QString Described(const QWidget* widget)
    {
        const QRect place = widget->geometry();
        const auto icon = widget->property("icon").value<QIcon>();
        const auto* const led = qobject_cast<const KLed*>(widget);
        return QString("%1 %2,%3,%4,%5|")
                   .arg(widget->objectName())
                   .arg(place.x())
                   .arg(place.y())
                   .arg(place.width())
                   .arg(place.height())
            + widget->property("text").toString() + widget->property("title").toString() + '|'
            + widget->property("shortcut").value<QKeySequence>().toString()
            + Picture(icon.pixmap(icon.availableSizes().value(0)))
            + Picture(widget->property("pixmap").value<QPixmap>())
            + (led != nullptr && led->shape() == KLed::Rectangular ? "rectangular" : "")
            + (widget->isEnabled() ? "" : "disabled");
    }

    /** Everything is as it should be and in its place, and the keyboard goes through the widgets in their order. */
    template <class Form> static void Check(const QString& tabOrder, const QStringList& widgets)
    {
        Form form(nullptr, nullptr, Qt::Window);
        form.show();
        QVERIFY(QTest::qWaitForWindowActive(&form));
        QCOMPARE(Picture(form.windowIcon().pixmap(32)), QString("icon"));
        QVERIFY(form.minimumSize() == form.size() && form.maximumSize() == form.size());
        QCOMPARE(QString("%1 %2x%3").arg(form.windowTitle()).arg(form.width()).arg(form.height()), widgets.first());
        for (const QString& expected : widgets.mid(1)) {
            const QWidget* const widget = form.template findChild<QWidget*>(expected.section(' ', 0, 0));
            QVERIFY2(widget, qPrintable(expected));
            QCOMPARE(Described(widget), expected);
        }
        QCOMPARE(TabOrder(form), tabOrder);
    }

    /** The texts of a new form; after a look whether they fit without being hard to read. */
    template <class Form> static QStringList Texts()
    {
        Form form(nullptr, nullptr, Qt::Window);
        form.show();
        QApplication::processEvents();
        QStringList texts;
        for (QWidget* widget : form.template findChildren<QWidget*>()) {
            const QString text = widget->property("text").toString() + widget->property("title").toString();
            if (text.isEmpty())
                continue;
            texts.append(text);
            if (!Fits(widget) || widget->font().pointSizeF() < 0.9 * QApplication::font().pointSizeF())
                texts.append(QStringLiteral("clipped or tiny: ") + text);
        }
        return texts;
    }

    static QStringList AllTexts(const QString& language)
    {
        KLocalizedString::setLanguages({language});
        const QFont before = QApplication::font();
        QFont usual = before;
        usual.setPointSize(9);
        QApplication::setFont(usual);
        const QStringList texts = Texts<mainDlg>() + Texts<cloneDlg>() + Texts<restoreDlg>() + Texts<restoreoutputdlg>()
            + Texts<revManagerDlg>();
        QApplication::setFont(before);
        return texts;
    }

private Q_SLOTS:
    void speakTheirLanguages_data()
    {
        QTest::addColumn<QString>("same"); // words that are as in English
        for (const char* const language : {"de", "es", "fr", "it"})
            QTest::newRow(language) << (language == std::string("de") ? "Status" : "");
    }

    /** Nothing is left in English but names, and nothing is clipped or tiny. */
    void speakTheirLanguages()
    {
        QFETCH(QString, same);
        setlocale(LC_MESSAGES, "C.UTF-8");
        const QStringList english = AllTexts("en_US");
        const QStringList texts = AllTexts(QTest::currentDataTag());
        if (QT_VERSION_MAJOR > 5 && texts == english)
            QSKIP("the C library of today translates nothing in the locale C.UTF-8, and there is no other here");
        QCOMPARE(texts.filter("clipped or tiny: "), QStringList());
        QCOMPARE(texts.size(), english.size());
        for (int i = 0; i < texts.size(); ++i) {
            if (!texts[i].contains("Norvo Clone-Restore") && texts[i] != same)
                QVERIFY2(texts[i] != english[i], qPrintable(texts[i]));
        }
        KLocalizedString::setLanguages({"en_US"});
    }

    void areUsable()
    {
        const QString large = "<b><font size=\"+3\" face=\"Sans Serif\">%1</font></b>\n\n<p>%2</p>|";
        Check<mainDlg>("btnClone btnRestore btnRevManager",
            {"Norvo Clone-Restore  512x480", "lblTitle 10,10,491,91|<p align=\"center\">Norvo Clone-Restore</p>|",
                "lblClone 140,140,361,70|" + large.arg("Clone", "Create an Hard Disk image and store it on Iomega Rev"),
                "lblRestore 140,260,361,71|" + large.arg("Restore", "Restore an image from Iomega Rev to Hard Disk"),
                "lblRevManager 140,380,361,71|" + large.arg("Rev Manager", "Format and manage Iomega Rev"),
                "btnClone 20,120,111,111||clone", "btnRestore 20,240,111,111||restore",
                "btnRevManager 20,360,111,111||revmanager"});
        Check<cloneDlg>("edtSerial edtSerialAgain edtDate btnMount btnCancel btnClone",
            {"Clone 422x170", "txtSerial 10,10,131,21|Machine serial number:|", "btnClone 340,140,70,20|Clo&ne|Alt+N",
                "edtDate 150,70,260,21||disabled", "grpRevStatus 10,100,80,61|Rev Status|",
                "ledRevStatus 10,20,20,30||rectangular", "btnMount 40,20,31,31||mount",
                "lblDate 10,70,131,21|Image date:|", "btnCancel 269,140,61,21|C&ancel|Alt+A",
                "txtSerialAgain 10,40,131,21|Reinsert serial number:|", "edtSerialAgain 150,40,261,21||",
                "edtSerial 150,10,260,21||"});
        Check<restoreDlg>("cmbSerial cmbDate lstPartitions chkSwap chkGrub btnMount btnCancelRestore btnStartRestore",
            {"Restore 412x360", "lblSerial 10,10,132,21|Machine serial number:|", "lblDate 10,40,130,21|Image date:|",
                "cmbSerial 150,10,251,21||", "cmbDate 150,40,251,21||", "lstPartitions 10,70,391,200||",
                "chkSwap 250,280,160,21|Fromat swap partition(s)|", "chkGrub 250,300,110,21|Reinstall &GRUB|Alt+G",
                "btnStartRestore 330,330,71,21|&Restore|Alt+R", "btnCancelRestore 250,330,71,21|C&ancel|Alt+A",
                "grpRevStatus 10,290,81,61|Rev Status|", "ledRevStatus 10,20,21,30||rectangular",
                "btnMount 40,20,31,31||mount"});
        Check<restoreoutputdlg>("txtOutput btnClose",
            {"Restore output 412x250", "txtOutput 10,10,390,200||", "btnClose 330,220,71,21|C&lose|Alt+L"});
        Check<revManagerDlg>("btnMount btnFormat btnCancel",
            {"Rev Manager 400x440", "grpUsage 10,10,381,130|Usage|", "lblUsed 130,70,230,21|Used space:|",
                "lblFree 130,100,230,21|Free space:|", "pxlRev 10,20,100,100||rev", "pgbUsage 120,30,250,22||",
                "grpStatus 10,140,380,130|Status|", "pklStatus 10,20,101,101||status",
                "lblStatus 130,20,240,21|<p align=\"center\">Mount / Umount</p>|",
                "ledStatus 200,60,40,40||rectangular", "btnMount 260,60,41,41||mount",
                "grpFormat 10,270,380,130|Format|", "pxlFormat 10,20,100,100||warning",
                "btnFormat 210,90,70,21|&Format|Alt+F",
                "lblFormat 120,20,251,45|<p align=\"center\"><b>Attention!</b></p>\n"
                "<p align=\"center\">All informations stored on Rev will be lost!</p>|",
                "btnCancel 320,410,70,21|C&ancel|Alt+A"});
    }

    void fitTheirTexts()
    {
        CheckFonts<mainDlg>();
        CheckFonts<cloneDlg>();
        CheckFonts<restoreDlg>();
        CheckFonts<restoreoutputdlg>();
        CheckFonts<revManagerDlg>();
    }
};

QTEST_MAIN(FormsTest)
#include "formstest.moc"

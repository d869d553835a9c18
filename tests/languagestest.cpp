// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "drivewindow.h"
#include "runwords.h"
#include "sessionwindow.h"

#include <KLocalizedString>

#include <QLabel>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QRegularExpression>
#include <QTimer>

#include <clocale>
#include <functional>

/** The windows beside the program's own five speak the operator's language, and nothing in them is cut off. */
class LanguagesTest : public RunWords
{
    Q_OBJECT

    static bool IsClipped(const QWidget* widget)
    {
        const auto* const label = qobject_cast<const QLabel*>(widget);
        const bool wraps = label != nullptr && label->wordWrap();
        const int height = wraps ? widget->heightForWidth(widget->width()) : widget->sizeHint().height();
        return widget->height() < height || (!wraps && widget->width() < widget->sizeHint().width());
    }

    /** As they stand in the window; those that are cut off begin with "clipped". */
    static QStringList Texts(const QWidget& window)
    {
        QStringList texts = {window.windowTitle()};
        for (const QWidget* const widget : window.findChildren<QWidget*>()) {
            const QString text = widget->property("text").toString();
            if (!text.isEmpty() && widget->isVisible())
                texts += (IsClipped(widget) ? "clipped: " : "") + text;
        }
        return texts;
    }

    /** @param names what is the same in each language */
    static void Check(const std::function<QStringList()>& texts, const QString& names)
    {
        setlocale(LC_MESSAGES, "C.UTF-8");
        KLocalizedString::setLanguages({"en_US"});
        const QStringList english = texts();
        QVERIFY(english.size() > 2);
        const QRegularExpression same(QRegularExpression::anchoredPattern(names));
        for (const char* const language : {"de", "es", "fr", "it"}) {
            KLocalizedString::setLanguages({language});
            const QStringList own = texts();
            KLocalizedString::setLanguages({"en_US"});
            if (QT_VERSION_MAJOR > 5 && own == english)
                QSKIP("the C library of today translates nothing in the locale C.UTF-8, and there is no other here");
            QCOMPARE(own.filter("clipped: "), QStringList());
            QCOMPARE(own.size(), english.size());
            for (int i = 0; i < own.size(); ++i)
                QVERIFY2(own[i] != english[i] || same.match(own[i]).hasMatch(), qPrintable(language + (": " + own[i])));
        }
    }

    static Drive NewDrive(const char* name, const char* model)
    {
        Drive drive;
        drive.name = name;
        drive.identity = {model, std::string("S") + name, "", ""};
        drive.bytes = 500107862016;
        return drive;
    }

private Q_SLOTS:
    void drives()
    {
        std::vector<Drive> two = {NewDrive("sda", "Stick"), NewDrive("sdb", "Disk")};
        two[1].identity.serial = ""; // it cannot be tied
        const std::string disk = NewFile(folder, "disk", std::string(1 << 20, '\0'));
        Check(
            [&two, &disk] {
                DriveWindow window({[&two] {
                                        return two;
                                    },
                    [&disk](const Drive&) {
                        return Device::OfFile(disk);
                    }});
                const QList<QListWidget*> lists = window.findChildren<QListWidget*>();
                lists[0]->setCurrentRow(0);
                lists[1]->setCurrentRow(1);
                window.show();
                QCoreApplication::processEvents();
                return Texts(window);
            },
            "&?OK"); // the toolkit's
    }

    /** A clone run whose second image is being made, or has failed. */
    void report()
    {
        const QStringList begun = {"plan 0 clone", "clonePT hdc done 0", "clone hdc1 done 1", "clone hdc3 begun 2"};
        for (const QStringList& end : {QStringList(), QStringList({"clone hdc3 failed 2 full", "over"})})
            Check(
                [&] {
                    ReportWindow window;
                    Play(window, begun + end, NewSet());
                    window.Hear(3, R"({"phase":"write","done":4000000,"total":20000000})");
                    QTest::qWait(1100); // it shows what is new twice a second
                    return Texts(window);
                },
                "hdc\\d: (Linux|[Ss]wap), .*|\\d+%|full"); // a reason comes from the commands
    }

    void session()
    {
        Check(
            [] {
                SessionWindow window(false);
                window.show();
                QCoreApplication::processEvents();
                return Texts(window).mid(1);
            },
            "&Terminal");
    }

    /** What would end all that goes on in the PC is asked first, and the keyboard is on the answer that ends nothing.
     */
    void asksBeforeThePcGoesOff()
    {
        SessionWindow window(false);
        QVERIFY(!window.windowIcon().isNull());
        int asked = 0;
        const QByteArray path = qgetenv("PATH");
        qputenv("PATH", "/nowhere"); // should it not ask, it finds nothing to end this machine with
        for (QPushButton* button : window.findChildren<QPushButton*>()) {
            if (!button->text().contains("PC"))
                continue;
            QTimer::singleShot(100, [&asked] {
                auto* const box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
                QVERIFY(box != nullptr);
                asked += box->defaultButton() == box->button(QMessageBox::Cancel) && box->text().contains("PC") ? 1 : 0;
                QTest::keyClick(box, Qt::Key_Return);
            });
            button->click();
        }
        qputenv("PATH", path);
        QCOMPARE(asked, 2);
    }
};

QTEST_MAIN(LanguagesTest)
#include "languagestest.moc"

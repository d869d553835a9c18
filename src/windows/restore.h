// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#pragma once

#include "restoredlg.h"
#include "utf8chunks.h"

#include <QStringList>
#include <memory>
#include <vector>

class QComboBox;
class QDir;
class QFile;
class QProcess;
class RestoreOutput;

/** One partition line of a partition-table file; the texts are as they stand in the file. */
struct partitionData
{
    QString partition; ///< name without "/dev/", as "hdc1"
    QString start;     ///< in sectors, decimal; may have leading blanks
    QString size;      ///< in sectors, decimal; may have leading blanks
    QString type;      ///< two characters, as "83" or " f"; "Swap" for a swap partition of the dialog's list
    bool bootable = false;
};

/** The restore dialog: lets the operator choose an image set and its partitions, and writes them back. */
class Restore : public restoreDlg
{
    Q_OBJECT

public:
    /** @param parent the main window, which Close() enables again */
    Restore(QWidget* parent, const char* name, Qt::WindowFlags fl);
    ~Restore() override;

    /**
     * Prepares the dialog for one showing: lists what is stored on the REV disk and selects the first serial number and
     * its newest date. Without an image set all lists are empty.
     * @param mounted the main window's Rev-mounted flag; kept, read and written
     */
    void Init(bool* mounted);

    /** Hides the dialog and enables the main window. */
    void Close();

    /** The keyboard goes to the first field of the dialog, which has just been shown. */
    void TakeKeyboard();

    /**
     * Reads one line of a partition-table file into `pd`. A line that doesn't begin with "/" leaves it as it is; a
     * field that the line lacks becomes an empty text.
     */
    void ParsePartitionLine(QString line, partitionData& pd);

public Q_SLOTS:
    void btnCancelRestore_clicked() override;

    /**
     * The restore run: runs the commands that write back boot sector, partition table and the checked partitions, then
     * those that the options ask for, with everything shown in the output window. Returns when the operator has
     * acknowledged the end. No command is checked for success.
     */
    void btnStartRestore_clicked() override;
    void btnMount_clicked() override;
    void cmbSerial_activated(const QString& serial) override;
    void cmbDate_activated(const QString& date) override;
    virtual void readFromStdout();
    virtual void readFromStderr();
    void closeEvent(QCloseEvent* e) override;

private:
    void AddPartition(partitionData record);
    [[nodiscard]] QStringList ChosenPartitions() const;
    [[nodiscard]] QStringList SwapPartitions() const;
    void RestoreImageSet(const QString& serial, const QString& date);
    QString WhyNotStarted() const;
    void ShowAndRun(const QStringList& command);
    void ShowOutput(void (RestoreOutput::*append)(const QString&), const QString& text);

    QWidget* parent;
    std::unique_ptr<QDir> revDir;
    QStringList serialList;
    QStringList dateList;
    std::unique_ptr<QFile> partitionFile;
    std::vector<partitionData> partitions; ///< of the image set last read, in file order, without extended ones
    std::unique_ptr<QProcess> process;
    std::unique_ptr<RestoreOutput> restoreOutput;
    bool* mounted = nullptr;
    bool imagesAvailable = false; ///< an image set is selected and its partition list was read
    Utf8Chunks stdoutChunks;
    Utf8Chunks stderrChunks;
};

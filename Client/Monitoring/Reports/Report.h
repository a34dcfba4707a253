// The HTML reports: what the five kinds share. A report is put together from small template
// pieces in its report directory; the page goes into the directory's Output folder, together
// with the directory's other files (style sheet, pictures), and is then handed to the desktop
// to show.
#pragma once

#include <QDate>
#include <QFile>
#include <QString>
#include <QStringList>

enum EReportKind
{
    eReportPEInfo = 0,
    eReportPerformance,
    eReportRegister,
    eReportRoutingTable,
    eReportWatch,
    eReportKindCount
};

// The fixed facts of a kind of report.
struct SReportKindInfo
{
    const char* pszTitle;        // "PE Info Report"; also the output file's name
    const char* pszKey;          // preference of the section Directories, and the folder's name
    const char* pszDirectoryFor; // "PE Reports": the directory dialog's words
    const char* pszBrowsePrompt; // "Choose a directory for PE Reports"
    const char* pszSaveFailure;  // "Unable to save PE Reports directory name in registry."
    QStringList pieces;          // the template files of the kind
};
const SReportKindInfo& ReportKindInfo(EReportKind eKind);

// The report directory a kind uses: the preference, or its default, ending in a separator. On
// Windows the defaults were folders of the program's installation (PEReportDir and so on beside
// the program); here a user can't write below the installed program, so they are folders of the
// same names in the user's data directory, ~/.local/share/Halvorn/Norvanta4/.
QString ReportDirectory(EReportKind eKind);
QString ReportDirectoryDefault(EReportKind eKind);
// The template set shipped with the program for a kind: share/norvanta/Reports/<key>/ beside the
// installed program, else the build tree's, ending in a separator.
QString ShippedReportTemplates(EReportKind eKind);

// The ways the desktop may fail to show a page, and their texts.
enum EOpenFailure
{
    eOpenFileNotFound,
    eOpenPathNotFound,
    eOpenAccessDenied,
    eOpenOutOfMemory,
    eOpenSharingViolation,
    eOpenAssociationIncomplete,
    eOpenNoAssociation,
};
QString OpenFailureText(EOpenFailure eFailure, const QString& strPath);

// Hands a written page to the desktop (IUserInterface::OpenDocument); false, with the failure
// shown, when the page is not there or nothing could show it.
bool OpenReportPage(const QString& strPath);

class CReport
{
public:
    explicit CReport(EReportKind eKind);
    virtual ~CReport() = default;
    CReport(const CReport&) = delete;
    CReport& operator=(const CReport&) = delete;

    EReportKind Kind() const { return m_eKind; }
    QString Title() const { return QString::fromLatin1(ReportKindInfo(m_eKind).pszTitle); }

    // The map's file name for the head of the page; "Untitled" when empty.
    void SetMapName(const QString& strName) { m_strMapName = strName; }
    // The day the page is dated with (today unless set).
    void SetDate(const QDate& date) { m_date = date; }
    // A report directory in place of the preference's (the command line's --dir).
    void SetReportDirectory(const QString& strDirectory);
    // Whether the finished page goes to the desktop to be shown (on by default).
    void SetOpenWhenDone(bool bOpen) { m_bOpen = bOpen; }

    // Makes the report. A failure shows its message and ends the report (what was written of the
    // page stays), and the result is false.
    bool GenerateReport();

    // After a GenerateReport that failed: true when it ended because there was nothing to report
    // (no PE, no switch, no stored register value, no monitor), not because of a fault.
    bool NothingToReport() const { return m_bNothingToReport; }

    // Where the page is written: Output/ below the report directory, the title, ".HTM".
    QString OutputPath() const;
    QString OutputDirectory() const;
    QString TemplateDirectory() const { return m_strDirectory; }

    // "05 March, 2024": the form of the page's date.
    static QString DateText(const QDate& date);

protected:
    // False with a message shown when there is nothing to report; asked before anything is
    // written.
    virtual bool CheckContent() { return true; }
    // Copies what the body needs beside the page (the PE pictures), after the support set.
    virtual bool CopyExtras() { return true; }
    // Writes the pieces between the report's head and foot.
    virtual bool WriteBody() = 0;

    // Writes one template piece of the report's directory to the page; a failure shows its
    // message and gives false.
    bool WritePiece(const QString& strPiece, const QStringList& keys = {}, const QStringList& values = {});
    // Copies one file into the output directory, replacing what is there; a failure shows
    // "Failed to copy file %s to %s, error %d".
    bool CopyToOutput(const QString& strSource, const QString& strName);

private:
    bool PrepareDirectories();
    bool CopySupportSet();

    EReportKind m_eKind;
    QString m_strDirectory;
    QString m_strMapName;
    QDate m_date;
    bool m_bOpen = true;
    bool m_bNothingToReport = false;
    QFile m_output;
};

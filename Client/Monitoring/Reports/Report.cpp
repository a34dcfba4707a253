#include "Report.h"

#include "Preferences.h"
#include "ReportTemplate.h"
#include "UserInterface.h"

#include <QDir>
#include <QFileInfo>
#include <QLocale>
#include <QStandardPaths>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace
{
const QString kDirectories = QStringLiteral("Directories");

QString WithSeparator(QString strDirectory)
{
    if (!strDirectory.isEmpty() && !strDirectory.endsWith(QLatin1Char('/')))
    {
        strDirectory += QLatin1Char('/');
    }
    return strDirectory;
}

// Copies a file's bytes; 0 or the system's error number.
int CopyFileBytes(const QString& strSource, const QString& strTarget)
{
    const int in = ::open(QFile::encodeName(strSource).constData(), O_RDONLY | O_CLOEXEC);
    if (in < 0)
    {
        return errno;
    }
    const int out =
        ::open(QFile::encodeName(strTarget).constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (out < 0)
    {
        const int nError = errno;
        ::close(in);
        return nError;
    }
    int nError = 0;
    char buffer[65536];
    for (;;)
    {
        const ssize_t nRead = ::read(in, buffer, sizeof buffer);
        if (nRead < 0 && errno == EINTR)
        {
            continue;
        }
        if (nRead <= 0)
        {
            nError = nRead < 0 ? errno : 0;
            break;
        }
        ssize_t nDone = 0;
        while (nDone < nRead)
        {
            const ssize_t nWritten = ::write(out, buffer + nDone, static_cast<size_t>(nRead - nDone));
            if (nWritten < 0 && errno == EINTR)
            {
                continue;
            }
            if (nWritten < 0)
            {
                nError = errno;
                break;
            }
            nDone += nWritten;
        }
        if (nError != 0)
        {
            break;
        }
    }
    ::close(in);
    if (::close(out) != 0 && nError == 0)
    {
        nError = errno;
    }
    return nError;
}
} // namespace

const SReportKindInfo& ReportKindInfo(EReportKind eKind)
{
    static const SReportKindInfo kinds[eReportKindCount] = {
        {"PE Info Report",
         "PEReportDir",
         "PE Reports",
         "Choose a directory for PE Reports",
         "Unable to save PE Reports directory name in registry.",
         {"per_rh.htm", "per_peh.htm", "per_pei.htm", "per_pef.htm", "per_rf.htm"}},
        {"Performance Report",
         "PMReportDir",
         "Performance Monitor Reports",
         "Choose a directory for Performance Monitor Reports",
         "Unable to save Performance Monitor reports directory name in registry.",
         {"pmr_rh.htm", "pmr_pmh.htm", "pmr_th.htm", "pmr_tl.htm", "pmr_tf.htm", "pmr_rf.htm"}},
        {"Register Report",
         "RegReportDir",
         "Register Reports",
         "Choose a directory for Register Reports",
         "Unable to save Register Reports directory name in registry.",
         {"rr_rh.htm", "rr_rpe.htm", "rr_regh.htm", "rr_rth.htm", "rr_rtl.htm", "rr_rtf.htm", "rr_rf.htm"}},
        {"Routing Table Report",
         "RTReportDir",
         "Routing Table Reports",
         "Choose a directory for Routing Table Reports",
         "Unable to save Routing Table Reports directory name in registry.",
         {"rtr_rh.htm", "rtr_peh.htm", "rtr_rth.htm", "rtr_rtl.htm", "rtr_rtf.htm", "rtr_pef.htm",
          "rtr_rf.htm"}},
        {"Watch Window Report",
         "WWReportDir",
         "Watch Window Reports",
         "Choose a directory for Watch Window Reports",
         "Unable to save Watch Window Reports directory name in registry.",
         {"wwr_rh.htm", "wwr_wlh.htm", "wwr_wlth.htm", "wwr_wltl.htm", "wwr_wltf.htm", "wwr_elh.htm",
          "wwr_elth.htm", "wwr_eltl.htm", "wwr_eltf.htm", "wwr_rf.htm"}},
    };
    return kinds[eKind >= 0 && eKind < eReportKindCount ? eKind : 0];
}

QString ReportDirectoryDefault(EReportKind eKind)
{
    return WithSeparator(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
                         QStringLiteral("/Halvorn/Norvanta4/") +
                         QString::fromLatin1(ReportKindInfo(eKind).pszKey));
}

QString ReportDirectory(EReportKind eKind)
{
    const QString strSet =
        GetPreference(kDirectories, QString::fromLatin1(ReportKindInfo(eKind).pszKey), QString()).trimmed();
    return strSet.isEmpty() ? ReportDirectoryDefault(eKind) : WithSeparator(strSet);
}

QString ShippedReportTemplates(EReportKind eKind)
{
    const QString strKey = QString::fromLatin1(ReportKindInfo(eKind).pszKey);
    const QString strProgramDir =
        QFileInfo(QFileInfo(QStringLiteral("/proc/self/exe")).symLinkTarget()).absolutePath();
    const QString strInstalled =
        QDir::cleanPath(strProgramDir + QStringLiteral("/../share/norvanta/Reports/") + strKey);
    if (QFileInfo(strInstalled).isDir())
    {
        return WithSeparator(strInstalled);
    }
    return WithSeparator(QStringLiteral(NV_BUILD_SHARE_DIR "/Reports/") + strKey);
}

QString OpenFailureText(EOpenFailure eFailure, const QString& strPath)
{
    switch (eFailure)
    {
    case eOpenFileNotFound:
        return QStringLiteral("Error:  File not found: '%1'").arg(strPath);
    case eOpenPathNotFound:
        return QStringLiteral("Error: Path not found: '%1'").arg(strPath);
    case eOpenAccessDenied:
        return QStringLiteral("Error: Access denied: '%1'").arg(strPath);
    case eOpenOutOfMemory:
        return QStringLiteral("Error: Out of memory");
    case eOpenSharingViolation:
        return QStringLiteral("Error: Sharing violation: '%1'").arg(strPath);
    case eOpenAssociationIncomplete:
        return QStringLiteral("Error: File name association incomplete or invalid: '%1'").arg(strPath);
    case eOpenNoAssociation:
        break;
    }
    return QStringLiteral("Error: No application associated with the file: '%1'").arg(strPath);
}

bool OpenReportPage(const QString& strPath)
{
    const QFileInfo page(strPath);
    EOpenFailure eFailure = eOpenNoAssociation;
    if (!page.absoluteDir().exists())
    {
        eFailure = eOpenPathNotFound;
    }
    else if (!page.exists())
    {
        eFailure = eOpenFileNotFound;
    }
    else if (!page.isReadable())
    {
        eFailure = eOpenAccessDenied;
    }
    else if (UI().OpenDocument(page.absoluteFilePath()))
    {
        return true;
    }
    ShowMessage(OpenFailureText(eFailure, strPath));
    return false;
}

CReport::CReport(EReportKind eKind) : m_eKind(eKind), m_date(QDate::currentDate())
{
    m_strDirectory = ReportDirectory(eKind);
}

void CReport::SetReportDirectory(const QString& strDirectory)
{
    m_strDirectory = strDirectory.trimmed().isEmpty()
                         ? ReportDirectory(m_eKind)
                         : WithSeparator(QDir::cleanPath(strDirectory.trimmed()));
}

QString CReport::OutputDirectory() const
{
    return m_strDirectory + QStringLiteral("Output/");
}

QString CReport::OutputPath() const
{
    return QStringLiteral("%1%2.%3").arg(OutputDirectory(), Title(), QStringLiteral("HTM"));
}

QString CReport::DateText(const QDate& date)
{
    return QLocale::c().toString(date, QStringLiteral("dd MMMM, yyyy"));
}

bool CReport::PrepareDirectories()
{
    if (!QDir().mkpath(m_strDirectory))
    {
        ShowMessage(QStringLiteral("Unable to create directory '%1'").arg(m_strDirectory));
        return false;
    }
    // A report directory without any of the kind's templates (a new one) gets the shipped set. One
    // that has some is the person's own set and is taken as it is: a piece missing from it ends
    // the report with the piece's message, and nothing the person changed is ever replaced.
    const QStringList& pieces = ReportKindInfo(m_eKind).pieces;
    const bool bHasOwnSet =
        std::any_of(pieces.begin(), pieces.end(),
                    [this](const QString& strPiece) { return QFileInfo::exists(m_strDirectory + strPiece); });
    const QString strShipped = ShippedReportTemplates(m_eKind);
    if (!bHasOwnSet && QDir(strShipped).exists() && QDir(strShipped) != QDir(m_strDirectory))
    {
        for (const QFileInfo& file : QDir(strShipped).entryInfoList(QDir::Files | QDir::NoDotAndDotDot))
        {
            const QString strTarget = m_strDirectory + file.fileName();
            if (const int nError = CopyFileBytes(file.absoluteFilePath(), strTarget); nError != 0)
            {
                ShowMessage(QString::asprintf("Failed to copy file %s to %s, error %d",
                                              qPrintable(file.absoluteFilePath()), qPrintable(strTarget),
                                              nError));
                return false;
            }
        }
    }
    if (!QDir().mkpath(OutputDirectory()))
    {
        ShowMessage(QStringLiteral("Unable to create directory '%1'").arg(OutputDirectory()));
        return false;
    }
    return true;
}

bool CReport::CopyToOutput(const QString& strSource, const QString& strName)
{
    const QString strTarget = OutputDirectory() + strName;
    if (const int nError = CopyFileBytes(strSource, strTarget); nError != 0)
    {
        ShowMessage(QString::asprintf("Failed to copy file %s to %s, error %d", qPrintable(strSource),
                                      qPrintable(strTarget), nError));
        return false;
    }
    return true;
}

bool CReport::CopySupportSet()
{
    // Everything of the report directory but the pieces themselves: the style sheet and the
    // pictures the pieces refer to.
    const QStringList& pieces = ReportKindInfo(m_eKind).pieces;
    for (const QFileInfo& file : QDir(m_strDirectory).entryInfoList(QDir::Files | QDir::NoDotAndDotDot))
    {
        if (pieces.contains(file.fileName(), Qt::CaseInsensitive))
        {
            continue;
        }
        if (!CopyToOutput(file.absoluteFilePath(), file.fileName()))
        {
            return false;
        }
    }
    return true;
}

bool CReport::WritePiece(const QString& strPiece, const QStringList& keys, const QStringList& values)
{
    QString strMessage;
    if (!WriteTemplate(m_strDirectory + strPiece, m_output, keys, values, &strMessage))
    {
        ShowMessage(strMessage);
        return false;
    }
    return true;
}

bool CReport::GenerateReport()
{
    m_bNothingToReport = !CheckContent();
    if (m_bNothingToReport || !PrepareDirectories() || !CopySupportSet() || !CopyExtras())
    {
        return false;
    }
    m_output.close();
    m_output.setFileName(OutputPath());
    if (!m_output.open(QIODevice::WriteOnly | QIODevice::Truncate))
    {
        ShowMessage(QStringLiteral("Unable to open file '%1'").arg(OutputPath()));
        return false;
    }
    const QStringList& pieces = ReportKindInfo(m_eKind).pieces;
    const QString strMapName = m_strMapName.isEmpty() ? QStringLiteral("Untitled") : m_strMapName;
    const bool bWritten = WritePiece(pieces.front(), {QStringLiteral("DATE"), QStringLiteral("MAPNAME")},
                                     {DateText(m_date), ReportEscape(strMapName)}) &&
                          WriteBody() && WritePiece(pieces.back());
    if (bWritten && !m_output.flush())
    {
        ShowMessage(QStringLiteral("Unable to write file '%1'").arg(OutputPath()));
        m_output.close();
        return false;
    }
    m_output.close();
    if (!bWritten)
    {
        return false;
    }
    return !m_bOpen || OpenReportPage(OutputPath());
}

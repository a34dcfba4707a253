#include "SimpleScript.h"

#include "FFRoutes.h"
#include "NetworkDocument.h"
#include "RouteSearch.h"
#include "StatusText.h"
#include "TargetClient.h"
#include "TargetLink.h"
#include "UserInterface.h"

#include <QFileInfo>
#include <QRegularExpression>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace
{
constexpr uint32_t kMaxScriptAddress = 0xFFFFFF;
constexpr uint32_t kScriptPriority = 2;
const char* const kScriptFilter = "Norvanta Simple Script (*.txt)|*.txt||";

// 1 to 8 hex digits after an optional "0x", which only counts in a field longer than 2 characters.
bool ParseHexField(const QString& strField, uint32_t* pulValue)
{
    QString strDigits = strField;
    if (strDigits.size() > 2 && strDigits.startsWith(QLatin1String("0x")))
    {
        strDigits = strDigits.mid(2);
    }
    if (strDigits.isEmpty() || strDigits.size() > 8)
    {
        return false;
    }
    uint32_t ulValue = 0;
    for (const QChar ch : strDigits)
    {
        const char c = ch.toLatin1();
        uint32_t ulDigit = 0;
        if (c >= '0' && c <= '9')
        {
            ulDigit = static_cast<uint32_t>(c - '0');
        }
        else if (c >= 'a' && c <= 'f')
        {
            ulDigit = static_cast<uint32_t>(c - 'a' + 10);
        }
        else if (c >= 'A' && c <= 'F')
        {
            ulDigit = static_cast<uint32_t>(c - 'A' + 10);
        }
        else
        {
            return false;
        }
        ulValue = (ulValue << 4) | ulDigit;
    }
    *pulValue = ulValue;
    return true;
}

QString ErrorLine(const char* pszWhat, int32_t nStatus)
{
    return QStringLiteral(">>>>>>>>%1  Error: '%2'\r\n").arg(QLatin1String(pszWhat), RioErrorText(nStatus));
}
} // namespace

bool ParseScriptAddress(const QString& strField, uint32_t* pulAddress)
{
    if (strField == QLatin1String("-1"))
    {
        *pulAddress = kMaxScriptAddress;
        return true;
    }
    uint32_t ulValue = 0;
    if (!ParseHexField(strField, &ulValue) || ulValue > kMaxScriptAddress)
    {
        return false;
    }
    *pulAddress = ulValue;
    return true;
}

bool ParseScriptData(const QString& strField, uint32_t* pulData)
{
    if (strField == QLatin1String("-1"))
    {
        *pulData = 0xFFFFFFFFu;
        return true;
    }
    return ParseHexField(strField, pulData);
}

bool CFrontEndScriptAccess::IsConnected()
{
    const CTargetLink* pLink = CTargetClient::Instance().Link();
    return pLink && pLink->IsConnected();
}

int32_t CFrontEndScriptAccess::Write(uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulOffset,
                                     uint32_t ulValue)
{
    return CTargetClient::Instance().Maint_write(0, ulDestID, uchHopCount, ulOffset, &ulValue, 1, 4,
                                                 kScriptPriority);
}

int32_t CFrontEndScriptAccess::Read(uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulOffset,
                                    uint32_t* pulValue)
{
    return CTargetClient::Instance().Maint_read(0, ulDestID, uchHopCount, ulOffset, pulValue, 1, 4,
                                                kScriptPriority);
}

CScriptRunCore::CScriptRunCore(CNetworkDocument& map, CPEPrimitive& target, IScriptAccess& access)
    : m_map(map), m_pTarget(&target), m_access(access)
{
}

QString CScriptRunCore::Title() const
{
    const QString strName =
        m_strPath.isEmpty() ? QStringLiteral("Untitled") : QFileInfo(m_strPath).fileName();
    return QStringLiteral("Script - %1%2 - Target Node %3")
        .arg(strName, m_bModified ? QStringLiteral("*") : QString())
        .arg(m_pTarget->iNodeNumber + 1);
}

void CScriptRunCore::SetText(const QString& strText)
{
    if (strText != m_strText)
    {
        m_strText = strText;
        m_bModified = true;
    }
}

QStringList CScriptRunCore::EditorLines(const QString& strText)
{
    if (strText.isEmpty())
    {
        return {};
    }
    QStringList lines = strText.split(QLatin1Char('\n'));
    for (QString& strLine : lines)
    {
        if (strLine.endsWith(QLatin1Char('\r')))
        {
            strLine.chop(1);
        }
    }
    return lines;
}

bool CScriptRunCore::Run()
{
    if (!m_access.IsConnected())
    {
        UI().ShowMessage(QStringLiteral("Norvanta must be connected to the target."),
                         QStringLiteral("Error: Cannot run script."), EMessageKind::Error);
        return false;
    }
    // The way to the target, worked out afresh for every run.
    uint32_t ulDestID = 0;
    uint8_t uchHopCount = 0;
    const CPEPrimitive* pHost = MapHostPE(m_map);
    int32_t nStatus = FindRoute(pHost, m_pTarget, *m_map.pCurrentPEs, *m_map.pCurrentConnections, &ulDestID,
                                &uchHopCount, false, nullptr);
    if (nStatus == kNoRouteStatus)
    {
        // No table leads there yet: lay routes for the all-ones ID hop by hop.
        nStatus = SetupFFRoute(m_map, pHost, m_pTarget, MapUsesLongIDs(), &uchHopCount);
        ulDestID = 65535;
    }
    if (nStatus != 0)
    {
        UI().ShowMessage(
            QStringLiteral("Unable to determine route to target device.\n\n%1").arg(RioErrorText(nStatus)),
            ApplicationTitle(), EMessageKind::Error);
        return false;
    }

    m_strTranscript.clear();
    m_nWarnings = 0;
    const QStringList lines = EditorLines(m_strText);
    bool bAborted = false;
    for (const QString& strLine : lines)
    {
        if (!RunLine(strLine.left(kMaxScriptLineLength), ulDestID, uchHopCount))
        {
            bAborted = true;
            break;
        }
    }
    if (bAborted)
    {
        m_strTranscript +=
            QStringLiteral(">>>>>>>>Script aborted with 1 error and %1 warnings.\r\n").arg(m_nWarnings);
    }
    else
    {
        m_strTranscript +=
            QStringLiteral("\r\nScript completed with 0 errors and %1 warnings.\r\n").arg(m_nWarnings);
    }
    return !bAborted;
}

bool CScriptRunCore::RunLine(const QString& strLine, uint32_t ulDestID, uint8_t uchHopCount)
{
    if (m_bStopMark)
    {
        return false;
    }
    m_strTranscript += strLine + QStringLiteral("\r\n");
    const QString strCut = strLine.trimmed();
    if (strCut.isEmpty() || strCut.startsWith(QLatin1String("//")))
    {
        return true;
    }
    static const QRegularExpression kBlanks(QStringLiteral("[ \t]+"));
    const QStringList fields = strCut.split(kBlanks, Qt::SkipEmptyParts);
    const QString& strCommand = fields[0];
    const bool bWrite = strCommand == QLatin1String("W") || strCommand == QLatin1String("w");
    if (!bWrite && strCommand != QLatin1String("r"))
    {
        m_strTranscript += QStringLiteral(">>>>>>>>Warning: Unrecognized command ignored\r\n");
        ++m_nWarnings;
        return true;
    }
    uint32_t ulAddress = 0;
    if (fields.size() < 2 || !ParseScriptAddress(fields[1], &ulAddress))
    {
        m_strTranscript += QStringLiteral(">>>>>>>>Invalid or missing address field.\r\n");
        return false;
    }
    if (ulAddress & 3)
    {
        // Three bits, not two: the word used is the one of the 8-byte pair the address falls in.
        ulAddress &= ~7u;
        m_strTranscript += QString::asprintf(
            ">>>>>>>>Warning: Address not 32-bit aligned.  Used %X instead.\r\n", ulAddress);
        ++m_nWarnings;
    }
    uint32_t ulValue = 0;
    if (bWrite)
    {
        uint32_t ulData = 0;
        if (fields.size() < 3 || !ParseScriptData(fields[2], &ulData))
        {
            m_strTranscript += QStringLiteral(">>>>>>>>Invalid or missing data field.\r\n");
            return false;
        }
        int32_t nStatus = m_access.Write(ulDestID, uchHopCount, ulAddress, ulData);
        if (nStatus != 0)
        {
            m_strTranscript += ErrorLine("Write failed.", nStatus);
            return false;
        }
        nStatus = m_access.Read(ulDestID, uchHopCount, ulAddress, &ulValue);
        if (nStatus != 0)
        {
            m_strTranscript += ErrorLine("Readback failed.", nStatus);
            return false;
        }
        if (strCommand == QLatin1String("w"))
        {
            m_strTranscript +=
                QString::asprintf("        /*read back: 0x%08X 0x%08X*/\r\n", ulAddress, ulValue);
        }
        NoteReadBack(ulAddress, ulValue);
        return true;
    }
    const int32_t nStatus = m_access.Read(ulDestID, uchHopCount, ulAddress, &ulValue);
    if (nStatus != 0)
    {
        m_strTranscript += ErrorLine("Read failed.", nStatus);
        return false;
    }
    m_strTranscript += QString::asprintf("        /*0x%08X 0x%08X*/\r\n", ulAddress, ulValue);
    NoteReadBack(ulAddress, ulValue);
    return true;
}

void CScriptRunCore::NoteReadBack(uint32_t ulOffset, uint32_t ulValue)
{
    if (!m_pTarget->SavedRegisters.Find(ulOffset))
    {
        return;
    }
    m_pTarget->SavedRegisters.SetValue(ulOffset, ulValue, false);
    if (fnRegisterChanged)
    {
        fnRegisterChanged(ulOffset, ulValue);
    }
}

bool CScriptRunCore::AskSaveChanges()
{
    if (!m_bModified)
    {
        return true;
    }
    const int nAnswer =
        UI().Ask(QStringLiteral("The script has been modified.\r\n\r\nDo you want to save the changes?"),
                 QStringLiteral("Norvanta"), true);
    if (nAnswer == eAnswerCancel)
    {
        return false;
    }
    return nAnswer != eAnswerYes || Save();
}

bool CScriptRunCore::New()
{
    if (!AskSaveChanges())
    {
        return false;
    }
    m_strText.clear();
    m_strPath.clear();
    m_bModified = false;
    return true;
}

bool CScriptRunCore::Open(const QString& strPath)
{
    if (!AskSaveChanges())
    {
        return false;
    }
    QString strName = strPath;
    if (QFileInfo(strName).suffix().isEmpty())
    {
        strName += QStringLiteral(".txt");
    }
    if (QFileInfo(strName).suffix() != QLatin1String("txt"))
    {
        ShowMessage(QStringLiteral("Unknown script type."));
        return false;
    }
    FILE* pFile = std::fopen(strName.toLocal8Bit().constData(), "rb");
    if (!pFile)
    {
        ShowMessage(QStringLiteral("Unable to open script file %1, error %2").arg(strName).arg(errno));
        return false;
    }
    QByteArray bytes;
    char buffer[4096];
    size_t nRead = 0;
    while ((nRead = std::fread(buffer, 1, sizeof(buffer), pFile)) > 0)
    {
        bytes.append(buffer, static_cast<qsizetype>(nRead));
    }
    std::fclose(pFile);
    m_strText = QString::fromLocal8Bit(bytes);
    m_strPath = strName;
    m_bModified = false;
    return true;
}

bool CScriptRunCore::OpenChosen()
{
    if (!AskSaveChanges())
    {
        return false;
    }
    const QString strPath = UI().ChooseFile(false, QString(), QLatin1String(kScriptFilter), QString());
    if (strPath.isEmpty())
    {
        return false;
    }
    // The question was asked already; don't ask it again inside Open.
    const bool bModified = m_bModified;
    m_bModified = false;
    if (!Open(strPath))
    {
        m_bModified = bModified;
        return false;
    }
    return true;
}

bool CScriptRunCore::Save()
{
    if (m_strPath.isEmpty())
    {
        const QString strPath = UI().ChooseFile(true, QString(), QLatin1String(kScriptFilter), QString());
        return !strPath.isEmpty() && SaveAs(strPath);
    }
    return WriteFile(m_strPath);
}

bool CScriptRunCore::SaveAs(const QString& strPath)
{
    QString strName = strPath;
    // The save dialogs' default extension.
    if (QFileInfo(strName).suffix().isEmpty())
    {
        strName += QStringLiteral(".bin");
    }
    if (!WriteFile(strName))
    {
        return false;
    }
    m_strPath = strName;
    return true;
}

bool CScriptRunCore::WriteFile(const QString& strPath)
{
    FILE* pFile = std::fopen(strPath.toLocal8Bit().constData(), "w");
    if (!pFile)
    {
        ShowMessage(QStringLiteral("Unable to open script file %1, error %2").arg(strPath).arg(errno));
        return false;
    }
    bool bOk = true;
    for (const QString& strLine : EditorLines(m_strText))
    {
        bOk = bOk && std::fprintf(pFile, "%s\n", strLine.toLocal8Bit().constData()) >= 0;
    }
    bOk = std::fclose(pFile) == 0 && bOk;
    if (!bOk)
    {
        ShowMessage(QStringLiteral("Unable to open script file %1, error %2").arg(strPath).arg(errno));
        return false;
    }
    m_bModified = false;
    return true;
}

bool CScriptRunCore::QueryClose()
{
    return AskSaveChanges();
}

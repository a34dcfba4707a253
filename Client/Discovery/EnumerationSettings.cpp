#include "EnumerationSettings.h"

#include "NumberText.h"
#include "Preferences.h"
#include "UserInterface.h"

#include <QRegularExpression>

namespace
{
const QString kSection = QStringLiteral("Preferences");
// The longest scan sequence a person may give.
constexpr int kMaxScanIDs = 256;

bool Pref(const char* pszKey, uint32_t ulDefault)
{
    return GetPreference(kSection, QString::fromLatin1(pszKey), ulDefault) != 0;
}

void Save(const char* pszKey, bool bOn)
{
    SetPreference(kSection, QString::fromLatin1(pszKey), bOn ? 1u : 0u);
}
} // namespace

void CEnumerationSettings::Load(bool bWide)
{
    b16BitIDs = bWide;
    bNoLocks = Pref("EnumerateNoLocks", 1);
    bTryAllClockRates = Pref("TryAllClockRates", 1);
    bScanExistingIDs = Pref("ScanExistingIDs", 1);
    bAssignVDIDs = Pref("AssignVDIDs", 0);
    bUploadRegisters = Pref("EnumerateUploadRegisters", 0);
    ReloadScanSequence();
    strHostDestID = QString::number(GetPreference(kSection, QStringLiteral("EnumerateLocalDestID"), 1u));
    strStartingDestID =
        QString::number(GetPreference(kSection, QStringLiteral("EnumerateStartingDestID"), 5u));
    strDestIDIncrement =
        QString::number(GetPreference(kSection, QStringLiteral("EnumerateDestIDIncrement"), 5u));
    SetEnumerate(Pref("Enumerate", 0));
}

void CEnumerationSettings::SetNoLocks(bool bOn)
{
    bNoLocks = bOn;
    Save("EnumerateNoLocks", bOn);
}

void CEnumerationSettings::SetTryAllClockRates(bool bOn)
{
    bTryAllClockRates = bOn;
    Save("TryAllClockRates", bOn);
}

void CEnumerationSettings::SetScanExistingIDs(bool bOn)
{
    bScanExistingIDs = bOn;
    Save("ScanExistingIDs", bOn);
}

void CEnumerationSettings::SetAssignVDIDs(bool bOn)
{
    bAssignVDIDs = bOn && bEnumerate;
    Save("AssignVDIDs", bAssignVDIDs);
}

void CEnumerationSettings::SetEnumerate(bool bOn)
{
    bEnumerate = bOn;
    Save("Enumerate", bOn);
    if (bOn)
    {
        bUploadRoutingTables = false;
        bUploadEnabled = false;
        bBuildRoutingTables = Pref("EnumerateBuildRoutingTables", 0);
    }
    else
    {
        ReloadScanSequence();
        bUploadEnabled = true;
        bAssignVDIDs = false;
        bUploadRoutingTables = !bBuildRoutingTables && Pref("EnumerateUploadRoutingTables", 0);
    }
}

void CEnumerationSettings::SetUploadRoutingTables(bool bOn)
{
    if (!bUploadEnabled)
    {
        return;
    }
    bUploadRoutingTables = bOn;
    Save("EnumerateUploadRoutingTables", bOn);
    if (bOn)
    {
        bBuildRoutingTables = false;
        Save("EnumerateBuildRoutingTables", false);
    }
}

void CEnumerationSettings::SetBuildRoutingTables(bool bOn)
{
    bBuildRoutingTables = bOn;
    Save("EnumerateBuildRoutingTables", bOn);
}

void CEnumerationSettings::SetUploadRegisters(bool bOn)
{
    bUploadRegisters = bOn;
    Save("EnumerateUploadRegisters", bOn);
}

void CEnumerationSettings::ReloadScanSequence()
{
    strScanSequence = GetPreference(kSection, QStringLiteral("ScanSeq"), QString());
    // A stored sequence that reads well is shown in the network's ID format; one that doesn't is
    // shown as it was typed, for the check of OK to point at.
    if (ParseScanSequence(&scanIDs, nullptr))
    {
        strScanSequence = ScanSequenceText();
    }
}

bool CEnumerationSettings::ParseScanSequence(std::vector<uint32_t>* pIDs, bool* pbOutOfRange) const
{
    std::vector<uint32_t> ids;
    bool bOutOfRange = false;
    for (const QString& strToken :
         strScanSequence.split(QRegularExpression(QStringLiteral("[,;. ]")), Qt::SkipEmptyParts))
    {
        uint64_t ulValue = 0;
        if (ids.size() >= static_cast<size_t>(kMaxScanIDs) || !NumberFromText(strToken, &ulValue))
        {
            return false;
        }
        // Each ID is kept as 16 bits; a wider one still counts as out of range.
        bOutOfRange = bOutOfRange || ulValue > (b16BitIDs ? 65535u : 255u);
        ids.push_back(static_cast<uint32_t>(ulValue > 0xFFFFu ? 0xFFFFu : ulValue));
    }
    *pIDs = ids;
    if (pbOutOfRange)
    {
        *pbOutOfRange = bOutOfRange;
    }
    return true;
}

QString CEnumerationSettings::ScanSequenceText() const
{
    QStringList parts;
    for (uint32_t ulID : scanIDs)
    {
        parts << QString::asprintf(b16BitIDs ? "%04Xh" : "%02Xh", ulID);
    }
    return parts.join(QLatin1Char(' '));
}

bool CEnumerationSettings::CheckID(const QString& strText, const char* pszFormatError,
                                   uint32_t* pulValue) const
{
    uint64_t ulValue = 0;
    if (!NumberFromText(strText, &ulValue))
    {
        ShowMessage(QString::fromLatin1(pszFormatError));
        return false;
    }
    const uint64_t ulMax = b16BitIDs ? 65535u : 255u;
    if (ulValue > ulMax)
    {
        ShowMessage(b16BitIDs ? QStringLiteral("Value is out of range. Must be 0..65535")
                              : QStringLiteral("Value is out of range. Must be 0..255"));
        return false;
    }
    *pulValue = static_cast<uint32_t>(ulValue);
    return true;
}

CEnumerationSettings::EField CEnumerationSettings::Validate()
{
    std::vector<uint32_t> ids;
    bool bOutOfRange = false;
    if (!ParseScanSequence(&ids, &bOutOfRange))
    {
        ShowMessage(QStringLiteral("Invalid data entry."));
        return eFieldScanSequence;
    }
    SetPreference(kSection, QStringLiteral("ScanSeq"), strScanSequence);
    if (bOutOfRange &&
        UI().Ask(
            QStringLiteral("One or more destination IDs in your scan sequence are out of range\nand will be "
                           "ignored during discovery.\n\nDo you wish to proceed with the discovery?"),
            ApplicationTitle(), false) != eAnswerYes)
    {
        return eFieldScanSequence;
    }
    scanIDs = ids;
    if (!CheckID(strHostDestID, "Invalid format for Local Destination ID", &ulHostDestID))
    {
        return eFieldHostDestID;
    }
    SetPreference(kSection, QStringLiteral("EnumerateLocalDestID"), ulHostDestID);
    if (!CheckID(strStartingDestID, "Invalid format for Starting Destination ID", &ulStartingDestID))
    {
        return eFieldStartingDestID;
    }
    SetPreference(kSection, QStringLiteral("EnumerateStartingDestID"), ulStartingDestID);
    if (!CheckID(strDestIDIncrement, "Invalid format for Destination ID Increment", &ulDestIDIncrement))
    {
        return eFieldDestIDIncrement;
    }
    SetPreference(kSection, QStringLiteral("EnumerateDestIDIncrement"), ulDestIDIncrement);
    return eFieldNone;
}

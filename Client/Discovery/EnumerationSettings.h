// The discovery settings a person chooses before a standard discovery, with the rules that tie
// them together and their check: the model behind the settings window, and what the command line
// fills from its options.
#pragma once

#include <QString>

#include <cstdint>
#include <vector>

class CEnumerationSettings
{
public:
    // The controls a failed check puts the focus on.
    enum EField
    {
        eFieldNone,
        eFieldScanSequence,
        eFieldHostDestID,
        eFieldStartingDestID,
        eFieldDestIDIncrement,
    };

    // Loads every setting from the preferences; b16BitIDs is the network's ID width.
    void Load(bool b16BitIDs);

    // The choices that are saved as soon as they change.
    void SetNoLocks(bool bOn);
    void SetTryAllClockRates(bool bOn);
    void SetScanExistingIDs(bool bOn);
    void SetAssignVDIDs(bool bOn);
    // Enumerate on: the upload is cleared and disabled, generate-and-download comes from its
    // preference. Off: the scan sequence is reloaded, the upload enabled and, unless
    // generate-and-download is on, taken from its preference.
    void SetEnumerate(bool bOn);
    // The upload switched on (only possible without enumeration) clears generate-and-download.
    void SetUploadRoutingTables(bool bOn);
    void SetBuildRoutingTables(bool bOn);
    void SetUploadRegisters(bool bOn);

    // The check of OK, in order: scan sequence (saved to ScanSeq, with the question about IDs out of
    // range), then host, starting ID and increment, each saved when good. Shows the failure and
    // returns the field to focus, or eFieldNone when all is well.
    EField Validate();

    // The scan sequence as the window shows it: the IDs in the network's width, blank-separated.
    QString ScanSequenceText() const;

    // The fields, as the window shows them.
    bool b16BitIDs = false;
    bool bNoLocks = true;
    bool bTryAllClockRates = true;
    bool bEnumerate = false;
    bool bAssignVDIDs = false;
    bool bScanExistingIDs = true;
    bool bUploadRegisters = false;
    bool bUploadRoutingTables = false;
    bool bUploadEnabled = true;
    bool bBuildRoutingTables = false;
    QString strScanSequence;
    QString strHostDestID;
    QString strStartingDestID;
    QString strDestIDIncrement;

    // What a successful check gives.
    std::vector<uint32_t> scanIDs;
    uint32_t ulHostDestID = 1;
    uint32_t ulStartingDestID = 5;
    uint32_t ulDestIDIncrement = 5;

private:
    void ReloadScanSequence();
    // The IDs of the scan sequence text, each kept as 16 bits; false when a token isn't a number
    // or there are too many. *pbOutOfRange (may be null) tells whether one is beyond the ID width.
    bool ParseScanSequence(std::vector<uint32_t>* pIDs, bool* pbOutOfRange) const;
    bool CheckID(const QString& strText, const char* pszFormatError, uint32_t* pulValue) const;
};

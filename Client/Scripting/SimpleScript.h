// Simple scripts: lines of register accesses run against one target node. The grammar is small on
// purpose ("W", "w" and "r" with hex fields); each line is echoed to a transcript, followed by what
// it read back or why it stopped. CScriptRunCore is the logic behind the script window: the
// script's file, its title, the run and the transcript; the window only shows and edits.
#pragma once

#include <QString>
#include <QStringList>

#include <cstdint>
#include <functional>

class CNetworkDocument;
class CPEPrimitive;

// The longest line the script editor holds; what lies beyond is not part of the line.
constexpr int kMaxScriptLineLength = 256;

// Parses an address field: 1 to 8 hex digits with an optional "0x" (taken only from a field longer
// than 2 characters), at most 0xFFFFFF; "-1" stands for 0xFFFFFF.
bool ParseScriptAddress(const QString& strField, uint32_t* pulAddress);
// Parses a data field: the same form with no limit but the 8 digits; "-1" stands for 0xFFFFFFFF.
bool ParseScriptData(const QString& strField, uint32_t* pulData);

// The maintenance accesses a script makes, on the way to its one target. The default goes through
// the transaction front end; tests put a fabric of their own behind it.
class IScriptAccess
{
public:
    virtual ~IScriptAccess() = default;
    virtual bool IsConnected() = 0;
    // One 32-bit word; a client status.
    virtual int32_t Write(uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulOffset, uint32_t ulValue) = 0;
    virtual int32_t Read(uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulOffset, uint32_t* pulValue) = 0;
};

// The transaction front end's maintenance reads and writes, local port 0, priority 2.
class CFrontEndScriptAccess final : public IScriptAccess
{
public:
    bool IsConnected() override;
    int32_t Write(uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulOffset, uint32_t ulValue) override;
    int32_t Read(uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulOffset, uint32_t* pulValue) override;
};

class CScriptRunCore
{
public:
    // The target: a PE of a map (neither owned). The PE's register set takes what is read back.
    CScriptRunCore(CNetworkDocument& map, CPEPrimitive& target, IScriptAccess& access);

    // The same PE as the map holds it now: a discovery or a map file replaces the map's objects.
    void SetTarget(CPEPrimitive& target) { m_pTarget = &target; }
    CPEPrimitive& Target() const { return *m_pTarget; }

    // "Script - %s - Target Node %d", with "*" behind the name while modified.
    QString Title() const;

    // The script's text, as the editor holds it.
    const QString& Text() const { return m_strText; }
    void SetText(const QString& strText);
    bool IsModified() const { return m_bModified; }

    // Runs the whole script; false when nothing ran (not connected, no route) or when it was
    // aborted. The transcript holds the outcome.
    bool Run();
    const QString& Transcript() const { return m_strTranscript; }
    void ClearResults() { m_strTranscript.clear(); }
    int Warnings() const { return m_nWarnings; }

    // Asks a running script to stop: every line from now on fails.
    void SetStopMark(bool bStop) { m_bStopMark = bStop; }

    // Tells the register set's watchers of a value read back (offset, value).
    std::function<void(uint32_t, uint32_t)> fnRegisterChanged;

    // The file commands. Each asks about unsaved changes first where it would drop them, and
    // returns false when it was called off or failed (having shown why).
    bool New();
    bool Open(const QString& strPath);
    // Open with a file chosen by the person.
    bool OpenChosen();
    bool Save();
    bool SaveAs(const QString& strPath);
    // Whether the window may close: asks about unsaved changes.
    bool QueryClose();
    const QString& PathName() const { return m_strPath; }

    // The editor's lines: none for an empty text, and an empty last line after a final line end.
    static QStringList EditorLines(const QString& strText);

private:
    // Runs one line; false ends the script.
    bool RunLine(const QString& strLine, uint32_t ulDestID, uint8_t uchHopCount);
    // Records a value read back in the PE's register set, where the set holds that offset.
    void NoteReadBack(uint32_t ulOffset, uint32_t ulValue);
    bool AskSaveChanges();
    bool WriteFile(const QString& strPath);

    CNetworkDocument& m_map;
    CPEPrimitive* m_pTarget;
    IScriptAccess& m_access;
    QString m_strText;
    QString m_strPath; // empty: "Untitled"
    bool m_bModified = false;
    QString m_strTranscript;
    int m_nWarnings = 0;
    bool m_bStopMark = false;
};

// The register editor's work without its window: the registers on show, reaching their PE,
// reading and writing them by their kind (maintenance, I/O space, or a byte behind a switch's I2C
// master), committing one field, and recording what is written as a simple script. The values read
// and written stay in the PE's saved register values, so they outlive the editor.
#pragma once

#include "RegisterInfo.h"

#include <QString>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

class CNetworkDocument;
class CPEPrimitive;
class CRegisterValueList;

// One register on show.
struct RegisterItem
{
    CPEPrimitive* pPE = nullptr;
    int iNodeNumber = -1;
    const CRegister* pRegister = nullptr;
    uint32_t uOffset = 0;    // register offset plus set offset; 0 for I/O space
    uint64_t uLocalAddr = 0; // both plus the set offset; 0 for maintenance space
    uint64_t uRIOAddr = 0;
    bool bIO = false;                      // from the register
    uint32_t uSetOffset = 0;               // the set's offset, 0 without a set
    QString Name;                          // the block name, with "," and the set name when a set is named
    int eType = 1;                         // the table-of-contents type: 1 register, 2 I2C
    CRegisterValueList* pValues = nullptr; // the PE's saved register values
};

// Makes the items of one block of a PE's register file; iSet -1 (or beyond the sets) takes the
// block without a set. Shows "Unable to access register info cache.", "Unable to load register
// info." or the "Internal Error" of a missing block, and returns false.
bool MakeRegisterItems(CPEPrimitive& pe, const QString& strBlock, int iSet, int eType,
                       std::vector<RegisterItem>* pItems);

// Items for every maintenance register of a PE's register tree, in tree order; registers of I2C
// blocks and of I/O space are left out. Empty when the register file can't be read.
std::vector<RegisterItem> TreeRegisterItems(CPEPrimitive& pe);

// The transactions register access needs. The target's front end serves them; tests give their
// own to see which one a register kind takes.
class IRegisterTransport
{
public:
    virtual ~IRegisterTransport() = default;
    // Whether a link to the target is open.
    virtual bool IsOpen() = 0;
    virtual int32_t MaintRead(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t* pulValue) = 0;
    virtual int32_t MaintWrite(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t ulValue) = 0;
    // A 4-byte NREAD or NWRITE at a 64-bit RapidIO address; the word is big-endian on the wire.
    virtual int32_t NRead(uint32_t ulDestID, uint64_t ulAddress, uint32_t* pulValue) = 0;
    virtual int32_t NWrite(uint32_t ulDestID, uint64_t ulAddress, uint32_t ulValue) = 0;
    // A word of the server host's own memory.
    virtual int32_t LocalRead(uint64_t ulAddress, uint32_t* pulValue) = 0;
    virtual int32_t LocalWrite(uint64_t ulAddress, uint32_t ulValue) = 0;
    // A byte of a device on a switch's I2C bus.
    virtual int32_t I2CRead(uint32_t ulDestID, uint8_t uchHop, uint32_t ulDevice, uint32_t ulRegister,
                            uint8_t* puchValue) = 0;
    virtual int32_t I2CWrite(uint32_t ulDestID, uint8_t uchHop, uint32_t ulDevice, uint32_t ulRegister,
                             uint8_t uchValue) = 0;
    // What the target can tell of its last RapidIO error; empty when nothing.
    virtual QString RioErrorDetail() = 0;
};

// The transport of the target's front end, on whichever link is open.
IRegisterTransport& TargetRegisterTransport();

// Recording of writes as a simple script: off, paused or recording.
enum ERecordState
{
    eRecordOff = 0,
    eRecordPaused = 1,
    eRecordRecording = 2,
};

// Device and vendor of the switch whose I2C registers the editor reaches (a Tsi500).
constexpr uint16_t kI2CRegisterDevice = 1280;
constexpr uint16_t kI2CRegisterVendor = 13;
// The client status behind which the target keeps a detailed RapidIO error text.
constexpr int32_t kRioErrorWithDetail = -305;

class CRegisterAccess
{
public:
    // Works on the map's PEs through a transport (the target's by default).
    explicit CRegisterAccess(CNetworkDocument& document, IRegisterTransport* pTransport = nullptr);

    // Makes a PE reachable: with no open link nothing is needed. Otherwise the route the tables of
    // the map give, or else temporary all-ones routes along the shortest path. Shows "Unable to
    // configure routing tables.\n" and returns false when there is no way.
    bool PrepareAccess(const CPEPrimitive& pe);
    uint32_t DestID() const { return m_ulDestID; }
    uint8_t HopCount() const { return m_uchHopCount; }
    // Whether temporary routes were laid, which the route management later puts right.
    bool RoutesChanged() const { return m_bRoutesChanged; }

    // Reads a register by its kind into value and into the PE's saved values (confirmed). Shows
    // the failure and returns its status.
    int32_t UploadRegister(const RegisterItem& item, uint32_t* pulValue);
    // Writes a register by its kind (recording maintenance writes when recording). Shows "Unable
    // to update register.\nRapidIO HAL Error %d" and returns the status on failure.
    int32_t DownloadRegister(const RegisterItem& item, uint32_t ulValue);

    // Commits a field edit: the text by the number entry rule in the field's width, merged into the
    // saved value of the register (0 when there is none), written, and read back into the saved
    // values. Returns false when the text is no number for the field ("Invalid data entry.") or an
    // access failed (already shown).
    bool CommitField(const RegisterItem& item, int iField, const QString& strText);

    // Reads every item, reaching each PE once for its run of items; the first failure ends it.
    // Returns the number read.
    int UploadAll(const std::vector<RegisterItem>& items);
    // Writes every item that has a saved value and reads it back; the first failure ends it.
    int DownloadAll(const std::vector<RegisterItem>& items);

    // Recording.
    void StartRecording();
    void PauseRecording();
    void ResumeRecording();
    // Ends the recording and hands back what was recorded.
    QString StopRecording();
    int RecordState() const { return m_eRecordState; }
    const QString& RecordText() const { return m_strRecordText; }
    // "Register Editor", with " - Recording Paused" or " - Recording" by the state.
    QString WindowTitle() const;

private:
    enum ETransfer
    {
        eTransferDone,
        eTransferSkipped,
        eTransferFailed,
    };
    // Runs through the items under the working window with that progress text, reaching each PE
    // once for its run of items. A failed item or a cancel ends the run; returns the items done.
    int TransferAll(const std::vector<RegisterItem>& items, const QString& strProgress,
                    const std::function<ETransfer(const RegisterItem&)>& transfer);
    void Record(uint32_t ulOffset, uint32_t ulValue);
    QString UploadFailureText(int32_t nStatus);

    CNetworkDocument& m_document;
    IRegisterTransport& m_transport;
    uint32_t m_ulDestID = 0;
    uint8_t m_uchHopCount = 0;
    bool m_bRoutesChanged = false;
    int m_eRecordState = eRecordOff;
    QString m_strRecordText;
    bool m_bForceHeader = true;
    uint32_t m_ulRecordedDestID = 0;
    uint8_t m_uchRecordedHop = 0;
};

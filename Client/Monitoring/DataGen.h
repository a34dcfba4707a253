// The traffic generator of a Norvanta Server: the server's own generator, or a remote one on an
// endpoint reached through a control structure in its memory. Every command is one NVT_DATAGEN
// exchange; a running generator is polled once a second with Tick(). The window and the command
// line drive the same CDataGenerator; the exchange is injectable so tests can see the bodies.
#pragma once

#include <QString>
#include <QStringList>

#include <array>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

// Traffic kinds of the generator.
enum EDataGenKind : uint32_t
{
    eDataGenSWrite = 0,
    eDataGenNWrite = 1,
    eDataGenNWriteR = 2,
    eDataGenNRead = 3,
    eDataGenDoorbell = 10,
    eDataGenMessage = 11,
};

// NVT_DATAGEN commands.
enum EDataGenCommand : uint32_t
{
    eDataGenStop = 0,
    eDataGenChangeRate = 1,
    eDataGenStart = 2,
    eDataGenStatus = 3,
    eDataGenCheckControl = 4,
};

constexpr uint16_t kLocalDataGen = 0xFFFF;   // wRemoteDestID of the server's own generator
constexpr uint32_t kDataGenMaxRate = 500000; // ulMaxRate
constexpr uint32_t kDataGenMaxSteps = 20;
constexpr uint32_t kDataGenRequestSize = 212;
constexpr uint32_t kDataGenReplySize = 228;

// Whether a kind is paced in bytes (SWRITE to NREAD) rather than in transactions.
bool DataGenDataKind(uint32_t ulKind);
bool DataGenValidKind(uint32_t ulKind);
// "SWRITE", "NWRITE", "NWRITE_R", "NREAD", "Doorbell", "Message".
QString DataGenKindName(uint32_t ulKind);
// The rate box's title and the profile list's rate column for a kind.
QString DataGenRateTitle(uint32_t ulKind);
QString DataGenRateColumn(uint32_t ulKind);

struct SDataGenSettings
{
    uint16_t wRemoteDestID = kLocalDataGen; // the generator: the server's own, or a remote PE's ID
    uint32_t ulControlAddress = 0;          // the remote generator's control structure
    uint32_t eKind = eDataGenSWrite;
    uint32_t ulTransferSize = 256; // bytes per transaction
    uint32_t ulPriority = 0;
    bool bLarge = false; // 16-bit destination IDs
    uint16_t wDestID = 0;
    uint64_t ullDestAddress = 0xefbff000;
    uint32_t ulDestSize = 0x00400000;
    bool bFixed = true;
    uint32_t ulRate = 1; // in 1000 bytes (or transactions x1000) per second, 1..kDataGenMaxRate
    // The dynamic profile as sent: (seconds, rate x 1000).
    std::vector<std::pair<uint32_t, uint32_t>> steps;
    bool bRepeat = false;
};

// NVT_DATAGENRESP's own fields.
struct SDataGenReply
{
    int32_t nStatus = 0;
    uint32_t ulCommand = 0; // echoed
    uint32_t ulCurrentStep = 0;
    bool bLagging = false;
    bool bFinished = false;
};

// The 212-byte body of a command.
std::array<uint8_t, kDataGenRequestSize> BuildDataGenRequest(const SDataGenSettings& settings,
                                                             uint32_t ulCommand);
// Reads the reply's fields from a 228-byte body.
SDataGenReply DecodeDataGenReply(const uint8_t* pReply, int32_t nStatus);

// Parses an address or size as the dialog takes it: "0x" followed by hexadecimal digits, or a
// number by the number entry rule.
bool DataGenNumber(const QString& strText, uint64_t ulMax, uint64_t* pValue);

// The text checks of enabling, in order. Each returns an empty text when the entry is good.
QString CheckDataGenControl(const QString& strText, uint32_t* pulAddress);
QString CheckDataGenDestID(const QString& strText, bool bLarge, uint16_t* pwDestID);
QString CheckDataGenDestAddress(const QString& strText, uint64_t* pullAddress);
QString CheckDataGenDestSize(const QString& strText, uint32_t* pulSize);

// The rate profile that CDynamicDGDlg edits: lines of duration in seconds and rate in 1000-byte
// (or 1000-transaction) units, at most 20.
class CDataGenProfile
{
public:
    // The five lines a new profile starts with.
    static CDataGenProfile Default();

    // Add and Modify return an empty text, or the message that refused the line.
    QString Add(const QString& strDuration, const QString& strRate, uint32_t ulMaxRate = kDataGenMaxRate);
    QString Modify(int nIndex, const QString& strDuration, const QString& strRate,
                   uint32_t ulMaxRate = kDataGenMaxRate);
    bool Remove(int nIndex);
    // Moves a line one up or down; false at the edge.
    bool Up(int nIndex);
    bool Down(int nIndex);
    void Clear() { m_lines.clear(); }

    int Count() const { return static_cast<int>(m_lines.size()); }
    const std::vector<std::pair<uint32_t, uint32_t>>& Lines() const { return m_lines; }
    // "%d\t%d" of each line.
    QStringList Texts() const;
    // The steps as sent: rate x 1000.
    std::vector<std::pair<uint32_t, uint32_t>> Steps() const;
    // Back from sent steps.
    static CDataGenProfile FromSteps(const std::vector<std::pair<uint32_t, uint32_t>>& steps);

private:
    QString Check(const QString& strDuration, const QString& strRate, uint32_t ulMaxRate,
                  std::pair<uint32_t, uint32_t>* pLine) const;
    std::vector<std::pair<uint32_t, uint32_t>> m_lines;
};

// One NVT_DATAGEN exchange: 212 bytes out, 228 in; the reply's status or a client status.
using DataGenExchange = std::function<int32_t(const uint8_t* pRequest, uint8_t* pReply)>;

class CDataGenerator
{
public:
    // The exchange and the link test default to the one target client.
    CDataGenerator();
    CDataGenerator(DataGenExchange fnExchange, std::function<bool()> fnLinkOpen);

    SDataGenSettings& Settings() { return m_settings; }
    const SDataGenSettings& Settings() const { return m_settings; }

    // Builds, sends and decodes one command.
    SDataGenReply SendCommand(uint32_t ulCommand);

    // Command 2. On failure *pstrError holds "Unable to send command to server.\nError %d\n%s".
    bool Start(QString* pstrError);
    // Command 0; the generator is idle afterwards whatever the server answers.
    SDataGenReply Stop();
    // While running in fixed mode: a new rate (command 1). Returns the reply's status.
    int32_t ChangeRate(uint32_t ulRate);
    // Command 4. Empty text and true when the control structure answers.
    bool CheckControl(QString* pstrError);

    struct STick
    {
        enum EState
        {
            eIdle,     // not running: nothing sent
            eRunning,  // status 0
            eError,    // a status that does not stop the tool (still running)
            eStopped,  // -403, -402, -400, -306: the tool stopped
            eLinkLost, // the link is closed: the tool stopped
        } eState = eIdle;
        SDataGenReply reply;
        QString strError; // "Traffic Generator Error.\n\n" and the status text
    };
    // Once a second while running: command 3.
    STick Tick();

    bool LinkOpen() const { return m_fnLinkOpen(); }
    bool Running() const { return m_bRunning; }
    bool Lagging() const { return m_bLagging; }
    // The rate the slider and rate box show: in dynamic mode the running step's, else ulRate.
    uint32_t ShownRate() const { return m_ulShownRate; }

private:
    DataGenExchange m_fnExchange;
    std::function<bool()> m_fnLinkOpen;
    SDataGenSettings m_settings;
    bool m_bRunning = false;
    bool m_bLagging = false;
    uint32_t m_ulShownRate = 1;
};

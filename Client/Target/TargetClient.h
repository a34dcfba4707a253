// The transaction front end: the client's one gate to the target. It carries out each RapidIO,
// memory and flash transaction over whichever link is open, writes a line per transaction to the
// transaction log, and turns every failure into a client status.
#pragma once

#include "ServerProtocol.h"

#include <cstdint>

class CTargetLink;

class CTargetClient
{
public:
    // The singleton, made on first use; making it brings up the HAL and its device families.
    static CTargetClient& Instance();

    // The link of the current connection; set on every connection before the first transaction.
    void SetLink(CTargetLink* pLink) { m_pLink = pLink; }
    CTargetLink* Link() const { return m_pLink; }

    // Maintenance reads of 1, 2 and 4-byte words; on success pvData holds host-order words.
    // bTimed asks for the server's time stamps (the performance monitors); pulElapsed and pulTick
    // may be null.
    int32_t Maint_read(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulOffset,
                       uint8_t* pData, uint32_t ulWordCount, uint32_t ulStride, uint32_t ulPriority,
                       bool bTimed = false, uint32_t ulLastTick = 0, uint32_t* pulElapsed = nullptr,
                       uint32_t* pulTick = nullptr);
    int32_t Maint_read(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulOffset,
                       uint16_t* pData, uint32_t ulWordCount, uint32_t ulStride, uint32_t ulPriority,
                       bool bTimed = false, uint32_t ulLastTick = 0, uint32_t* pulElapsed = nullptr,
                       uint32_t* pulTick = nullptr);
    int32_t Maint_read(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulOffset,
                       uint32_t* pData, uint32_t ulWordCount, uint32_t ulStride, uint32_t ulPriority,
                       bool bTimed = false, uint32_t ulLastTick = 0, uint32_t* pulElapsed = nullptr,
                       uint32_t* pulTick = nullptr);
    // Maintenance writes. The words are swapped to network order for the send and back on
    // success: on failure pData is left swapped.
    int32_t Maint_write(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulOffset,
                        uint8_t* pData, uint32_t ulWordCount, uint32_t ulStride, uint32_t ulPriority);
    int32_t Maint_write(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulOffset,
                        uint16_t* pData, uint32_t ulWordCount, uint32_t ulStride, uint32_t ulPriority);
    int32_t Maint_write(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulOffset,
                        uint32_t* pData, uint32_t ulWordCount, uint32_t ulStride, uint32_t ulPriority);

    // NREAD of ulByteCount bytes.
    int32_t Nread(uint8_t uchLocalPort, uint32_t ulDestID, uint32_t ulRioAddressHi, uint32_t ulRioAddressLo,
                  uint32_t ulXferType, uint32_t ulPriority, void* pvData, uint32_t ulByteCount);
    // The data write: ulXferType 0 SWRITE, 1 NWRITE, 2 NWRITE_R.
    int32_t DataWrite(uint8_t uchLocalPort, uint32_t ulDestID, uint32_t ulRioAddressHi,
                      uint32_t ulRioAddressLo, uint32_t ulXferType, uint32_t ulPriority, const void* pvData,
                      uint32_t ulByteCount);
    // The 66-bit address forms of the PCIe link; other links fail with -71 and -72.
    int32_t NreadEx(uint8_t uchLocalPort, uint32_t ulDestID, uint32_t ulAddressExt, uint32_t ulRioAddressHi,
                    uint32_t ulRioAddressLo, uint32_t ulPriority, bool bFlag, void* pvData,
                    uint32_t* pulByteCount);
    int32_t DataWriteEx(uint8_t uchLocalPort, uint32_t ulDestID, uint32_t ulAddressExt,
                        uint32_t ulRioAddressHi, uint32_t ulRioAddressLo, uint32_t ulPriority,
                        uint32_t ulXferType, bool bFlag, const void* pvData, uint32_t* pulByteCount);
    // A RapidIO message of ulTotalByteCount bytes.
    int32_t Message(uint8_t uchLocalPort, uint32_t ulDestID, uint32_t ulPriority, bool bMultiPacket,
                    uint32_t ulMailboxNum, const void* pvData, uint32_t ulPacketByteCount,
                    uint32_t ulTotalByteCount);
    // A RapidIO doorbell.
    int32_t Doorbell(uint8_t uchLocalPort, uint32_t ulDestID, uint32_t ulPriority, uint16_t wInfoWord);
    // The target's received messages: ulCommand 1 fetches the next one into pvData (room for 4096
    // bytes), 2 flushes the queue. Outputs may be null.
    int32_t MessageQueue(uint32_t ulWhichQueue, uint32_t ulCommand, uint8_t* pbTT, uint8_t* pbOverflow,
                         uint32_t* pulSourceID, uint32_t* pulPriority, uint32_t* pulMailboxNum,
                         uint32_t* pulSize, void* pvData);
    // The target's received doorbells: ulCommand 1 fetches, 2 flushes.
    int32_t DoorbellQueue(uint32_t ulWhichQueue, uint32_t ulCommand, uint8_t* pbValid, uint8_t* pbOverflow,
                          uint16_t* pwInfoWord);
    // The server host's memory and flash.
    int32_t MemRead(uint32_t ulAddressHi, uint32_t ulAddressLo, uint32_t ulWordCount, uint32_t ulWordSize,
                    void* pvData);
    int32_t MemWrite(uint32_t ulAddressHi, uint32_t ulAddressLo, uint32_t ulWordCount, uint32_t ulWordSize,
                     const void* pvData);
    int32_t FlashRead(uint32_t ulAddressHi, uint32_t ulAddressLo, uint32_t ulByteCount, void* pvData);
    int32_t FlashWrite(uint32_t ulAddressHi, uint32_t ulAddressLo, uint32_t ulByteCount, const void* pvData);
    // A traffic generator command: the 212-byte request body in, the 228-byte reply body out.
    int32_t DataGen(const uint8_t* pRequest, uint8_t* pReply);
    // The RapidIO errors the target collected since it was last asked, as text cut to
    // ulSize - 1 characters; with none the text is left as it was. Returns the reply's status.
    int32_t GetRioErrors(char* pszText, uint32_t ulSize);
    // The server's identity record and capability mask.
    int32_t GetServerInfo(SServerInfo* pInfo, uint32_t* pulCapabilities);

    // Training state of every port of a device, in one read of all its port status registers.
    int32_t ArePortsTrained(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                            uint8_t uchHopCount, uint32_t* pulNumPorts, uint8_t* pbTrained);
    // A byte of an I2C EEPROM behind a switch's I2C master.
    int32_t I2CWriteByte(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulDeviceAddr,
                         uint32_t ulAddress, uint8_t uchValue);
    int32_t I2CReadByte(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulDeviceAddr,
                        uint32_t ulAddress, uint8_t* puchValue);

private:
    CTargetClient();

    enum class EReceive
    {
        Ok,
        Failed, // nothing came
        Short   // part came
    };

    int32_t MaintReadAny(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulOffset,
                         void* pvData, uint32_t ulWordCount, uint32_t ulWordSize, uint32_t ulStride,
                         uint32_t ulPriority, bool bTimed, uint32_t ulLastTick, uint32_t* pulElapsed,
                         uint32_t* pulTick);
    int32_t MaintWriteAny(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulOffset,
                          void* pvData, uint32_t ulWordCount, uint32_t ulWordSize, uint32_t ulStride,
                          uint32_t ulPriority);
    int32_t ReadTransaction(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulOffset,
                            void* pvData, uint32_t ulWordCount, uint32_t ulWordSize, uint32_t ulStride,
                            uint32_t ulPriority, bool bTimed, uint32_t ulLastTick, uint32_t* pulElapsed,
                            uint32_t* pulTick);
    int32_t WriteTransaction(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulOffset,
                             const void* pvData, uint32_t ulWordCount, uint32_t ulWordSize, uint32_t ulStride,
                             uint32_t ulPriority);

    bool Connected() const;
    // Sends header, body and data as separate sends; data in pieces of at most ulChunk bytes when
    // ulChunk is not 0.
    bool SendMessage(uint32_t ulMessageID, const uint8_t* pBody, uint32_t ulBodySize,
                     const void* pvData = nullptr, uint32_t ulDataSize = 0, uint32_t ulChunk = 0);
    // One receive of *pulLength bytes with the wait limit; *pulLength is what came.
    bool ReceiveRaw(void* pvBuffer, uint32_t* pulLength);
    // Receives part of a reply's body; what did not come within the limit is noted as late.
    EReceive ReceiveExact(void* pvBuffer, uint32_t ulLength);
    // Receives the header of the reply to the request just sent, first throwing away the late
    // replies of earlier requests that have come meanwhile. Failed: nothing came, and the reply
    // (ulExpectedID, ulExpectedLength) is noted as late; Short: part of a header came.
    EReceive ReceiveHeader(uint32_t ulExpectedID, uint32_t ulExpectedLength, uint32_t* pulMessageID,
                           uint32_t* pulLength);
    // Reads and throws away ulLength bytes of a late reply; false if they do not come in time.
    bool DiscardLate(uint32_t ulLength);
    // Receives and throws away ulLength bytes.
    void Drain(uint32_t ulLength);
    // Receives a reply's header and fixed body. The header must carry ulExpectedID and, unless
    // ulExpectedLength is kAnyLength, that Length; *pulLength gets the Length. Returns 0,
    // nReceiveFailed when nothing came, or -15.
    static constexpr uint32_t kAnyLength = 0xFFFFFFFFu;
    int32_t ReceiveReply(uint32_t ulExpectedID, uint32_t ulExpectedLength, uint8_t* pBody,
                         uint32_t ulBodySize, int32_t nReceiveFailed, uint32_t* pulLength = nullptr);

    CTargetLink* m_pLink = nullptr;
    // Bytes of the current reply, by its header's Length, not yet received.
    uint32_t m_ulReplyLeft = 0;
};

#include "PacketTraceCapture.h"

#include "PacketGen.h"
#include "StatusText.h"

namespace
{
constexpr uint32_t kCaptureMode = 0x2000;
constexpr uint32_t kDataAccess = 0x4000;
constexpr uint32_t kAllFlows = 0xFFu << 2;
constexpr int kFifoPackets = 16;

QString AccessError(const char* pszWhat, int32_t nStatus)
{
    return QStringLiteral("%1\n\n%2").arg(QLatin1String(pszWhat), RioErrorText(nStatus));
}
} // namespace

bool CTraceCapture::Begin(int nPort, QString* pstrError)
{
    m_nPort = nPort;
    uint32_t ulControl = 0;
    int32_t nStatus = m_access.Read(kGen2DeviceControl, &ulControl);
    if (nStatus != 0)
        return *pstrError = AccessError("Unable to enable PGC mode. [1]", nStatus), false;
    m_ulOldPgcMode = ulControl & kGen2PgcMode;
    if ((nStatus = m_access.Write(kGen2DeviceControl, ulControl | kGen2PgcMode)) != 0)
        return *pstrError = AccessError("Unable to enable PGC mode. [2]", nStatus), false;
    if ((nStatus = m_access.Read(PgcControl(nPort), &m_ulOldControl)) != 0)
        return *pstrError = AccessError("Unable to configure end port. [1]", nStatus), false;
    // Capture mode for every flow; a write without data access empties the FIFO of what was there.
    if ((nStatus = m_access.Write(PgcControl(nPort),
                                  (m_ulOldControl & 0xFFFF8000u) | kCaptureMode | kAllFlows)) != 0)
        return *pstrError = AccessError("Unable to configure end port. [2]", nStatus), false;
    m_bActive = true;
    return true;
}

bool CTraceCapture::Drain(const std::function<void(const uint8_t* pBytes, uint32_t nBytes)>& fnPacket,
                          QString* pstrError)
{
    if (!m_bActive)
        return true;
    const uint32_t E = PgcControl(m_nPort);
    const uint32_t ulRead = (m_ulOldControl & 0xFFFF8000u) | kCaptureMode | kDataAccess | kAllFlows;
    for (int n = 0; n < kFifoPackets; ++n)
    {
        uint32_t ulControl = 0;
        int32_t nStatus = m_access.Read(E, &ulControl);
        if (nStatus != 0)
            return *pstrError = AccessError("Unable to test for reception complete. [1]", nStatus), false;
        if (!(ulControl & kGen2ReceptionComplete))
            return true;
        uint8_t abPacket[kPgcCaptureBytes] = {};
        for (int w = 0; w < kPgcCaptureBytes / 4; ++w)
        {
            uint32_t ulWord = 0;
            if ((nStatus = m_access.Write(E, ulRead)) != 0)
                return *pstrError = AccessError("Unable to configure end port. [1]", nStatus), false;
            if ((nStatus = m_access.Read(E + 4, &ulWord)) != 0)
                return *pstrError = AccessError("Unable to read end port data. [1]", nStatus), false;
            for (int b = 0; b < 4; ++b)
                abPacket[w * 4 + b] = static_cast<uint8_t>(ulWord >> (24 - 8 * b));
        }
        fnPacket(abPacket, kPgcCaptureBytes);
    }
    return true;
}

bool CTraceCapture::End(QString* pstrError)
{
    if (!m_bActive)
        return true;
    m_bActive = false;
    int32_t nStatus = m_access.Write(PgcControl(m_nPort), m_ulOldControl & ~kDataAccess);
    if (nStatus != 0)
        return *pstrError = AccessError("Unable to configure end port. [2]", nStatus), false;
    uint32_t ulControl = 0;
    if ((nStatus = m_access.Read(kGen2DeviceControl, &ulControl)) != 0)
        return *pstrError = AccessError("Unable to disable PGC mode.", nStatus), false;
    if ((nStatus = m_access.Write(kGen2DeviceControl, (ulControl & ~kGen2PgcMode) | m_ulOldPgcMode)) != 0)
        return *pstrError = AccessError("Unable to disable PGC mode.", nStatus), false;
    return true;
}

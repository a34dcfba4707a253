#include "I2cKernelPod.h"

#include <QDir>
#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace
{
// The kernel refuses longer messages (I2C_RDWR checks each against 8192 bytes).
constexpr uint32_t kMaxMessage = 8192;

int32_t StatusOfErrno(int nError)
{
    switch (nError)
    {
    case ENXIO:
    case EREMOTEIO:
        return eI2cAddressNak;
    case ENODEV:
    case ESHUTDOWN:
        return eI2cDeviceNotFound;
    case EINVAL:
    case EOPNOTSUPP:
        return eI2cInvalidParameter;
    default:
        return eI2cIoError;
    }
}

bool IsTenBitLead(uint32_t ulAddress)
{
    return ulAddress >= 0x78 && ulAddress <= 0x7B;
}
} // namespace

int32_t BuildI2cMessages(SI2cHeldWrite& held, uint32_t ulAddress, bool bRead, uint8_t* pbBuffer,
                         uint32_t ulCount, std::vector<i2c_msg>* pMessages)
{
    pMessages->clear();
    uint16_t wTenBit = 0; // the full 10-bit address once known
    bool bTenBit = false;
    if (held.bHeld)
    {
        i2c_msg message{};
        uint8_t* pbData = held.bytes.data();
        size_t nLength = held.bytes.size();
        message.addr = static_cast<uint16_t>(held.ulAddress);
        if (IsTenBitLead(held.ulAddress))
        {
            if (nLength == 0)
            {
                return eI2cInvalidParameter;
            }
            wTenBit = static_cast<uint16_t>(((held.ulAddress & 3) << 8) | pbData[0]);
            bTenBit = true;
            message.addr = wTenBit;
            message.flags = I2C_M_TEN;
            ++pbData;
            --nLength;
        }
        if (nLength > kMaxMessage)
        {
            return eI2cInvalidParameter;
        }
        message.len = static_cast<uint16_t>(nLength);
        message.buf = pbData;
        pMessages->push_back(message);
    }
    if (ulCount > kMaxMessage + 1)
    {
        return eI2cInvalidParameter;
    }
    i2c_msg message{};
    message.addr = static_cast<uint16_t>(ulAddress);
    message.buf = pbBuffer;
    message.len = static_cast<uint16_t>(ulCount);
    if (IsTenBitLead(ulAddress))
    {
        if (!bRead && ulCount > 0)
        {
            // A new 10-bit write names its device in its first byte.
            message.addr = static_cast<uint16_t>(((ulAddress & 3) << 8) | pbBuffer[0]);
            message.buf = pbBuffer + 1;
            message.len = static_cast<uint16_t>(ulCount - 1);
        }
        else if (bTenBit && ((wTenBit >> 8) & 3) == (ulAddress & 3))
        {
            message.addr = wTenBit;
        }
        else
        {
            return eI2cInvalidParameter;
        }
        message.flags = I2C_M_TEN;
    }
    if (message.len > kMaxMessage)
    {
        return eI2cInvalidParameter;
    }
    if (bRead)
    {
        message.flags |= I2C_M_RD;
    }
    pMessages->push_back(message);
    return eI2cOk;
}

CI2cKernelPod::CI2cKernelPod(QString strDevDir, QString strSysDir)
    : m_strDevDir(std::move(strDevDir)), m_strSysDir(std::move(strSysDir))
{
    Scan();
}

CI2cKernelPod::~CI2cKernelPod()
{
    for (const auto& entry : m_held)
    {
        ::close(static_cast<int>(entry.first));
    }
}

void CI2cKernelPod::Scan()
{
    m_channels.clear();
    const QDir adapters(m_strSysDir);
    const QStringList names = adapters.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
    for (const QString& strName : names)
    {
        bool bNumber = false;
        const uint32_t ulNumber = strName.mid(4).toUInt(&bNumber);
        if (!strName.startsWith(QStringLiteral("i2c-")) || !bNumber)
        {
            continue;
        }
        QFile nameFile(adapters.filePath(strName + QStringLiteral("/name")));
        QString strDescription = strName;
        if (nameFile.open(QIODevice::ReadOnly))
        {
            strDescription = QString::fromLocal8Bit(nameFile.readAll()).trimmed();
        }
        m_channels.push_back({strDescription, ulNumber});
    }
}

int32_t CI2cKernelPod::GetNumChannels(uint32_t* pulChannels)
{
    Scan();
    *pulChannels = static_cast<uint32_t>(m_channels.size());
    return eI2cOk;
}

int32_t CI2cKernelPod::GetChannelInfo(uint32_t ulIndex, SI2cChannelInfo* pInfo)
{
    if (ulIndex >= m_channels.size())
    {
        return eI2cInvalidParameter;
    }
    *pInfo = m_channels[ulIndex];
    return eI2cOk;
}

int32_t CI2cKernelPod::OpenChannel(uint32_t ulId, intptr_t* phChannel)
{
    const QString strPath = QStringLiteral("%1/i2c-%2").arg(m_strDevDir).arg(ulId);
    const int nFile = ::open(QFile::encodeName(strPath).constData(), O_RDWR | O_CLOEXEC);
    if (nFile < 0)
    {
        return errno == ENOENT ? eI2cDeviceNotFound : eI2cDeviceNotOpened;
    }
    unsigned long ulFunctions = 0;
    if (::ioctl(nFile, I2C_FUNCS, &ulFunctions) < 0 || !(ulFunctions & I2C_FUNC_I2C))
    {
        // An adapter that only speaks SMBus can't carry a repeated start.
        ::close(nFile);
        return eI2cDeviceNotOpened;
    }
    m_held[nFile] = SI2cHeldWrite{};
    *phChannel = nFile;
    return eI2cOk;
}

int32_t CI2cKernelPod::InitChannel(intptr_t hChannel, uint32_t)
{
    // The adapter's clock is set by its driver (device tree or module option), not per user.
    return m_held.count(hChannel) ? eI2cOk : eI2cInvalidHandle;
}

int32_t CI2cKernelPod::CloseChannel(intptr_t hChannel)
{
    auto it = m_held.find(hChannel);
    if (it == m_held.end())
    {
        return eI2cInvalidHandle;
    }
    ::close(static_cast<int>(hChannel));
    m_held.erase(it);
    return eI2cOk;
}

int32_t CI2cKernelPod::Transfer(intptr_t hChannel, uint32_t ulAddress, bool bRead, uint8_t* pbBuffer,
                                uint32_t ulCount, bool bStop, uint32_t* pulTransferred)
{
    *pulTransferred = 0;
    auto it = m_held.find(hChannel);
    if (it == m_held.end())
    {
        return eI2cInvalidHandle;
    }
    SI2cHeldWrite& held = it->second;
    if (!bRead && !bStop)
    {
        // Goes out with the next transfer, after a repeated start.
        held.bHeld = true;
        held.ulAddress = ulAddress;
        held.bytes.assign(pbBuffer, pbBuffer + ulCount);
        *pulTransferred = ulCount;
        return eI2cOk;
    }
    std::vector<i2c_msg> messages;
    int32_t nStatus = BuildI2cMessages(held, ulAddress, bRead, pbBuffer, ulCount, &messages);
    if (nStatus == eI2cOk)
    {
        i2c_rdwr_ioctl_data data{};
        data.msgs = messages.data();
        data.nmsgs = static_cast<uint32_t>(messages.size());
        if (::ioctl(static_cast<int>(hChannel), I2C_RDWR, &data) < 0)
        {
            nStatus = StatusOfErrno(errno);
        }
        else
        {
            *pulTransferred = ulCount;
        }
    }
    held = SI2cHeldWrite{};
    return nStatus;
}

int32_t CI2cKernelPod::DeviceRead(intptr_t hChannel, uint32_t ulAddress, uint32_t ulCount, uint8_t* pbBuffer,
                                  uint32_t* pulTransferred, uint32_t ulOptions)
{
    if (!(ulOptions & kI2cStart))
    {
        *pulTransferred = 0;
        return eI2cInvalidParameter;
    }
    return Transfer(hChannel, ulAddress, true, pbBuffer, ulCount, true, pulTransferred);
}

int32_t CI2cKernelPod::DeviceWrite(intptr_t hChannel, uint32_t ulAddress, uint32_t ulCount,
                                   const uint8_t* pbBuffer, uint32_t* pulTransferred, uint32_t ulOptions)
{
    if (!(ulOptions & kI2cStart))
    {
        *pulTransferred = 0;
        return eI2cInvalidParameter;
    }
    return Transfer(hChannel, ulAddress, false, const_cast<uint8_t*>(pbBuffer), ulCount, ulOptions & kI2cStop,
                    pulTransferred);
}

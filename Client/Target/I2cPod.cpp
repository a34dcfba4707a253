#include "I2cPod.h"

#include "I2cKernelPod.h"
#include "I2cMpssePod.h"

#include <QLibrary>

#include <cstdlib>

QString I2cPodStatusText(int32_t nStatus)
{
    switch (nStatus)
    {
    case eI2cOk:
        return QStringLiteral("no error");
    case eI2cInvalidHandle:
        return QStringLiteral("the pod channel is not open");
    case eI2cDeviceNotFound:
        return QStringLiteral("the I2C pod is not connected");
    case eI2cDeviceNotOpened:
        return QStringLiteral("the I2C pod channel could not be opened");
    case eI2cIoError:
        return QStringLiteral("the transfer broke off");
    case eI2cInvalidParameter:
        return QStringLiteral("the pod can't carry this transfer");
    case eI2cAddressNak:
        return QStringLiteral("no device acknowledged the address");
    case eI2cDataNak:
        return QStringLiteral("the device refused a byte");
    default:
        return QStringLiteral("pod error %1").arg(nStatus);
    }
}

QString I2cPodLibraryPath()
{
    const char* pszPath = std::getenv("NORVANTA_I2C_POD");
    return pszPath ? QString::fromLocal8Bit(pszPath) : QString();
}

namespace
{
// A pod library loaded at run time; all seven entries must resolve.
class CI2cLibraryPod : public II2cPod
{
public:
    bool Load(const QString& strPath)
    {
        m_library.setFileName(strPath);
        if (!m_library.load())
        {
            return false;
        }
        m_pfnGetNumChannels =
            reinterpret_cast<PFN_I2C_GetNumChannels>(m_library.resolve("I2C_GetNumChannels"));
        m_pfnGetChannelInfo =
            reinterpret_cast<PFN_I2C_GetChannelInfo>(m_library.resolve("I2C_GetChannelInfo"));
        m_pfnOpenChannel = reinterpret_cast<PFN_I2C_OpenChannel>(m_library.resolve("I2C_OpenChannel"));
        m_pfnInitChannel = reinterpret_cast<PFN_I2C_InitChannel>(m_library.resolve("I2C_InitChannel"));
        m_pfnCloseChannel = reinterpret_cast<PFN_I2C_CloseChannel>(m_library.resolve("I2C_CloseChannel"));
        m_pfnDeviceRead = reinterpret_cast<PFN_I2C_DeviceRead>(m_library.resolve("I2C_DeviceRead"));
        m_pfnDeviceWrite = reinterpret_cast<PFN_I2C_DeviceWrite>(m_library.resolve("I2C_DeviceWrite"));
        if (!m_pfnGetNumChannels || !m_pfnGetChannelInfo || !m_pfnOpenChannel || !m_pfnInitChannel ||
            !m_pfnCloseChannel || !m_pfnDeviceRead || !m_pfnDeviceWrite)
        {
            m_library.unload();
            return false;
        }
        return true;
    }

    int32_t GetNumChannels(uint32_t* pulChannels) override { return m_pfnGetNumChannels(pulChannels); }
    int32_t GetChannelInfo(uint32_t ulIndex, SI2cChannelInfo* pInfo) override
    {
        char szDescription[128] = "";
        uint32_t ulId = 0;
        const int32_t nStatus = m_pfnGetChannelInfo(ulIndex, szDescription, sizeof(szDescription), &ulId);
        if (nStatus == eI2cOk)
        {
            szDescription[sizeof(szDescription) - 1] = '\0';
            pInfo->strDescription = QString::fromLocal8Bit(szDescription);
            pInfo->ulId = ulId;
        }
        return nStatus;
    }
    int32_t OpenChannel(uint32_t ulId, intptr_t* phChannel) override
    {
        void* pHandle = nullptr;
        const int32_t nStatus = m_pfnOpenChannel(ulId, &pHandle);
        *phChannel = reinterpret_cast<intptr_t>(pHandle);
        return nStatus;
    }
    int32_t InitChannel(intptr_t hChannel, uint32_t ulClockHz) override
    {
        return m_pfnInitChannel(reinterpret_cast<void*>(hChannel), ulClockHz);
    }
    int32_t CloseChannel(intptr_t hChannel) override
    {
        return m_pfnCloseChannel(reinterpret_cast<void*>(hChannel));
    }
    int32_t DeviceRead(intptr_t hChannel, uint32_t ulAddress, uint32_t ulCount, uint8_t* pbBuffer,
                       uint32_t* pulTransferred, uint32_t ulOptions) override
    {
        return m_pfnDeviceRead(reinterpret_cast<void*>(hChannel), ulAddress, ulCount, pbBuffer,
                               pulTransferred, ulOptions);
    }
    int32_t DeviceWrite(intptr_t hChannel, uint32_t ulAddress, uint32_t ulCount, const uint8_t* pbBuffer,
                        uint32_t* pulTransferred, uint32_t ulOptions) override
    {
        return m_pfnDeviceWrite(reinterpret_cast<void*>(hChannel), ulAddress, ulCount, pbBuffer,
                                pulTransferred, ulOptions);
    }

private:
    QLibrary m_library;
    PFN_I2C_GetNumChannels m_pfnGetNumChannels = nullptr;
    PFN_I2C_GetChannelInfo m_pfnGetChannelInfo = nullptr;
    PFN_I2C_OpenChannel m_pfnOpenChannel = nullptr;
    PFN_I2C_InitChannel m_pfnInitChannel = nullptr;
    PFN_I2C_CloseChannel m_pfnCloseChannel = nullptr;
    PFN_I2C_DeviceRead m_pfnDeviceRead = nullptr;
    PFN_I2C_DeviceWrite m_pfnDeviceWrite = nullptr;
};
} // namespace

std::unique_ptr<II2cPod> MakeI2cPod(EI2cPodKind eKind)
{
    switch (eKind)
    {
    case eI2cPodKernel:
        return std::make_unique<CI2cKernelPod>();
    case eI2cPodFtdi:
        return MakeMpssePod();
    case eI2cPodLibrary:
    {
        const QString strPath = I2cPodLibraryPath();
        if (strPath.isEmpty())
        {
            return nullptr;
        }
        auto pPod = std::make_unique<CI2cLibraryPod>();
        if (!pPod->Load(strPath))
        {
            return nullptr;
        }
        return pPod;
    }
    default:
        return nullptr;
    }
}

#include "EepromImage.h"

#include "HalAdapter.h"
#include "HalWrappers.h"
#include "InitScriptPlayer.h"
#include "NVXLHal.h"
#include "NVXLTransport.h"
#include "NetInitScriptGen.h"
#include "NetworkDocument.h"
#include "Preferences.h"
#include "Primitives.h"
#include "RegisterValueList.h"
#include "StatusText.h"
#include "TargetClient.h"
#include "TargetLink.h"
#include "TransactionLog.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLibrary>
#include <QTemporaryFile>

#include <map>

namespace
{
constexpr uint32_t kMaxImageBytes = 0x10000; // the HAL addresses an EEPROM with 16 bits

// The register image the image link answers from. Every read on that link would fail by
// design, yet some HAL steps read a register before they write it (read-modify-write of a
// port's control register, the header of an EEPROM table). So the link answers reads from this
// image, which starts from the values saved with the PE in the map and takes every write of the
// play; a word nobody saved or wrote reads 0. The whole play addresses one PE (the host is the
// PE itself), so the destination and hop count do not key the image.
class CImageRegisters final : public IRegisterPod
{
public:
    explicit CImageRegisters(const CRegisterValueList& saved)
    {
        for (int i = 0; i < saved.GetCount(); ++i)
        {
            const SRegisterValue& value = saved.GetAt(i);
            if (value.uLocalAddr == 0 && value.uRIOAddr == 0)
            {
                m_words[value.uOffset & ~3u] = value.uValue;
            }
        }
    }
    bool ReadRegister(uint32_t ulOffset, uint32_t* pulValue) override
    {
        const auto it = m_words.find(ulOffset);
        *pulValue = it == m_words.end() ? 0 : it->second;
        return true;
    }
    bool WriteRegister(uint32_t ulOffset, uint32_t ulValue) override
    {
        m_words[ulOffset] = ulValue;
        return true;
    }
    void Close() override {}

private:
    std::map<uint32_t, uint32_t> m_words;
};

// Puts the front end on the image link for its lifetime, with the HAL's transactions going
// through the front end and logging on, and gives back the link, the HAL's transport and its ID
// width as they were, and logging off, however the play ends.
class CImageLinkScope
{
public:
    explicit CImageLinkScope(const CRegisterValueList& saved) : m_bLarge(HalGetLargeTransport())
    {
        // Taken before the front end is first reached: making it installs its own transport.
        if (const NVXL_TRANSPORT* pTransport = NVXL_GetTransport())
        {
            m_oldTransport = *pTransport;
            m_bHadTransport = true;
        }
        m_pOld = CTargetClient::Instance().Link();
        m_link.AttachPod(eLinkNone, std::make_unique<CImageRegisters>(saved));
        CTargetClient::Instance().SetLink(&m_link);
        InstallHalAdapter(&CTargetClient::Instance());
        HalSetLargeTransport(m_bLarge);
        EnableLogging(true);
    }
    ~CImageLinkScope()
    {
        EnableLogging(false);
        NVXL_SetTransport(m_bHadTransport ? &m_oldTransport : nullptr);
        CTargetClient::Instance().SetLink(m_pOld);
    }
    CImageLinkScope(const CImageLinkScope&) = delete;
    CImageLinkScope& operator=(const CImageLinkScope&) = delete;

private:
    CTargetLink* m_pOld = nullptr;
    uint32_t m_bLarge;
    NVXL_TRANSPORT m_oldTransport{};
    bool m_bHadTransport = false;
    CTargetLink m_link;
};

void Report(const EepromProgress& progress, const QString& strText)
{
    if (progress)
    {
        progress(strText);
    }
}

bool ParseHex(const QString& strToken, uint32_t* pulValue)
{
    bool bOk = false;
    const qulonglong ullValue = strToken.toULongLong(&bOk, 16);
    if (!bOk || ullValue > 0xFFFFFFFFull)
    {
        return false;
    }
    *pulValue = static_cast<uint32_t>(ullValue);
    return true;
}

// A temporary file of the system's temporary folder whose name starts with strPrefix; removed
// when the object goes.
bool MakeTemporary(QTemporaryFile& file, const QString& strPrefix, QString* pError)
{
    const QString strFolder = QDir::tempPath();
    if (strFolder.isEmpty() || !QFileInfo(strFolder).isDir())
    {
        *pError = QString::asprintf("Unable to locate local temporary directory. Error %d", ENOENT);
        return false;
    }
    file.setFileTemplate(strFolder + QLatin1Char('/') + strPrefix + QStringLiteral("XXXXXX"));
    if (!file.open())
    {
        *pError = QString::asprintf("Unable to get a local temporary file name. Error %d",
                                    static_cast<int>(file.error()));
        return false;
    }
    return true;
}

uint32_t ChunkBytes(const SEepromType& type)
{
    return type.ulPageSize != 0 ? type.ulPageSize : 16u;
}
} // namespace

const std::vector<SEepromType>& EepromTypes()
{
    static const std::vector<SEepromType> types = {
        {"", "Generic 256 Bit", 256, 0, 1},    {"", "Generic 8 kBit", 1024, 0, 2},
        {"", "Generic 16 kBit", 2048, 0, 2},   {"", "Generic 32 kBit", 4096, 0, 2},
        {"", "Generic 64 kBit", 8192, 0, 2},   {"", "Generic 128 kBit", 16384, 0, 2},
        {"", "Generic 256 kBit", 32768, 0, 2}, {"Microchip", "24XX128", 16384, 64, 2},
        {"Atmel", "AT24C256", 32768, 64, 2},   {"Atmel", "AT24C128", 16384, 64, 2},
        {"Atmel", "AT24C64", 8192, 32, 2},
    };
    return types;
}

const SEepromType* FindEepromType(const QString& strDeviceType)
{
    for (const SEepromType& type : EepromTypes())
    {
        if (strDeviceType.compare(QLatin1String(type.pszDeviceType), Qt::CaseInsensitive) == 0)
        {
            return &type;
        }
    }
    return nullptr;
}

QString EepromPluginErrorText(int32_t nCode)
{
    switch (nCode)
    {
    case NV_EEPROM_OK:
        return QStringLiteral("No error.");
    case NV_EEPROM_NO_MORE_DEVICES:
        return QStringLiteral("No more supported devices found.");
    case NV_EEPROM_IMAGE_FULL:
        return QStringLiteral("EEPROM image is full.");
    case NV_EEPROM_BAD_IMAGE_SIZE:
        return QStringLiteral("Invalid EEPROM image size.");
    default:
        return QStringLiteral("Unknown error.");
    }
}

CEepromPlugins::CEepromPlugins() = default;
CEepromPlugins::~CEepromPlugins() = default;

void CEepromPlugins::LoadFolder(const QString& strFolder, QStringList* pMessages)
{
    const QStringList names =
        QDir(strFolder).entryList({QStringLiteral("*.so")}, QDir::Files | QDir::Readable, QDir::Name);
    for (const QString& strName : names)
    {
        const QString strPath = QDir(strFolder).filePath(strName);
        auto pLibrary = std::make_unique<QLibrary>(strPath);
        if (!pLibrary->load())
        {
            if (pMessages)
            {
                pMessages->append(
                    QStringLiteral("Error loading %1\n\n%2").arg(strPath, pLibrary->errorString()));
            }
            continue;
        }
        const auto pfnFirst =
            reinterpret_cast<PFN_EEPROM_GET_FIRST_DEVICE>(pLibrary->resolve(NV_EEPROM_EXPORT_GET_FIRST));
        const auto pfnNext =
            reinterpret_cast<PFN_EEPROM_GET_NEXT_DEVICE>(pLibrary->resolve(NV_EEPROM_EXPORT_GET_NEXT));
        SEepromPluginDevice entry;
        entry.pfnInitialize =
            reinterpret_cast<PFN_EEPROM_INITIALIZE>(pLibrary->resolve(NV_EEPROM_EXPORT_INITIALIZE));
        entry.pfnAddRegInit =
            reinterpret_cast<PFN_EEPROM_ADD_REG_INIT>(pLibrary->resolve(NV_EEPROM_EXPORT_ADD_REG_INIT));
        entry.pfnFinalize =
            reinterpret_cast<PFN_EEPROM_FINALIZE>(pLibrary->resolve(NV_EEPROM_EXPORT_FINALIZE));
        entry.pfnGetBytesUsed =
            reinterpret_cast<PFN_EEPROM_GET_BYTES_USED>(pLibrary->resolve(NV_EEPROM_EXPORT_GET_BYTES_USED));
        entry.strLibrary = strPath;
        if (!pfnFirst || !pfnNext || !entry.pfnInitialize || !entry.pfnAddRegInit || !entry.pfnFinalize ||
            !entry.pfnGetBytesUsed)
        {
            pLibrary->unload();
            continue;
        }
        uint32_t ulId = 0;
        for (int32_t nResult = pfnFirst(&ulId); nResult == 0; nResult = pfnNext(&ulId))
        {
            entry.wVendorOrHigh = static_cast<uint16_t>(ulId >> 16);
            entry.wDeviceOrLow = static_cast<uint16_t>(ulId & 0xFFFF);
            m_devices.push_back(entry);
        }
        m_libraries.push_back(std::move(pLibrary));
    }
}

const SEepromPluginDevice* CEepromPlugins::Find(uint16_t wVendorOrHigh, uint16_t wDeviceOrLow) const
{
    for (const SEepromPluginDevice& device : m_devices)
    {
        if (device.wVendorOrHigh == wVendorOrHigh && device.wDeviceOrLow == wDeviceOrLow)
        {
            return &device;
        }
    }
    return nullptr;
}

QStringList CEepromPlugins::Libraries() const
{
    QStringList libraries;
    for (const auto& pLibrary : m_libraries)
    {
        libraries.append(pLibrary->fileName());
    }
    return libraries;
}

QString EepromPluginFolder()
{
    const QString strSet =
        GetPreference(QStringLiteral("Directories"), QStringLiteral("EEPROM_DLLs"), QString());
    if (!strSet.trimmed().isEmpty())
    {
        return strSet.trimmed();
    }
    const QString strProgramDir =
        QFileInfo(QFileInfo(QStringLiteral("/proc/self/exe")).symLinkTarget()).absolutePath();
    const QString strInstalled =
        QDir::cleanPath(strProgramDir + QStringLiteral("/../share/norvanta/EEPROM_DLLs"));
    if (QFileInfo(strInstalled).isDir())
    {
        return strInstalled;
    }
    return QStringLiteral(NV_EEPROM_PLUGIN_DIR);
}

CEepromPlugins& LoadedEepromPlugins(QStringList* pMessages)
{
    static CEepromPlugins s_plugins;
    static bool s_bLoaded = false;
    if (!s_bLoaded)
    {
        s_bLoaded = true;
        s_plugins.LoadFolder(EepromPluginFolder(), pMessages);
    }
    return s_plugins;
}

CEepromImage::CEepromImage(const SEepromPluginDevice& device, uint32_t ulSize)
    : m_device(device), m_bytes(static_cast<qsizetype>(ulSize), static_cast<char>(0xFF))
{
}

int32_t CEepromImage::Initialize()
{
    const int32_t nResult = m_device.pfnInitialize(m_device.wVendorOrHigh, m_device.wDeviceOrLow,
                                                   static_cast<uint32_t>(m_bytes.size()),
                                                   reinterpret_cast<uint8_t*>(m_bytes.data()));
    m_bInitialized = nResult == NV_EEPROM_OK;
    return nResult;
}

int32_t CEepromImage::AddRegInit(uint32_t ulOffset, uint32_t ulCount, const uint32_t* pulValues)
{
    return m_device.pfnAddRegInit(m_device.wVendorOrHigh, m_device.wDeviceOrLow,
                                  static_cast<uint32_t>(m_bytes.size()),
                                  reinterpret_cast<uint8_t*>(m_bytes.data()), ulOffset, ulCount, pulValues);
}

void CEepromImage::Finalize()
{
    if (m_bInitialized)
    {
        m_device.pfnFinalize();
    }
}

uint32_t CEepromImage::GetBytesUsed() const
{
    return m_bInitialized ? m_device.pfnGetBytesUsed() : 0;
}

bool LogToImage(const CEepromPlugins& plugins, const QString& strLogPath, uint16_t wVendor, uint16_t wDevice,
                uint32_t ulSize, QByteArray* pImage, uint32_t* pulUsed, QString* pError, QString* pCaption)
{
    auto fail = [pError, pCaption](const QString& strText, bool bPluginError = false)
    {
        *pError = strText;
        if (pCaption)
        {
            *pCaption = bPluginError ? QStringLiteral("Error") : QString();
        }
        return false;
    };
    const SEepromPluginDevice* pDevice = plugins.Find(wVendor, wDevice);
    if (!pDevice)
    {
        return fail(QStringLiteral("Don't know how to create a boot image for this type of device."));
    }
    CEepromImage image(*pDevice, ulSize);
    const int32_t nInit = image.Initialize();
    if (nInit != NV_EEPROM_OK)
    {
        return fail(EepromPluginErrorText(nInit), true);
    }
    QFile log(strLogPath);
    if (!log.open(QIODevice::ReadOnly | QIODevice::Text))
    {
        return fail(QStringLiteral("Unable to open transaction log."));
    }
    while (!log.atEnd())
    {
        const QString strLine = QString::fromLatin1(log.readLine());
        const QStringList tokens = strLine.split(QLatin1Char(' '), Qt::SkipEmptyParts);
        if (tokens.isEmpty() ||
            tokens[0].trimmed().compare(QLatin1String("Maint_write"), Qt::CaseInsensitive) != 0)
        {
            continue;
        }
        // Maint_write DEST PRIORITY HOPS OFFSET BYTES VALUE... # OUTCOME
        static const char* const kMissing[] = {
            "Invalid token: looking for destID.", "Invalid token: looking for priority.",
            "Invalid token: looking for hop count.", "Invalid token: looking for offset.",
            "Invalid token: looking for byte count"};
        for (int i = 0; i < 5; ++i)
        {
            if (tokens.size() <= i + 1 || tokens[i + 1].trimmed() == QLatin1String("#"))
            {
                return fail(QString::fromLatin1(kMissing[i]));
            }
        }
        uint32_t ulOffset = 0;
        uint32_t ulBytes = 0;
        if (!ParseHex(tokens[4].trimmed(), &ulOffset))
        {
            return fail(QStringLiteral("Invalid offset token format."));
        }
        if (!ParseHex(tokens[5].trimmed(), &ulBytes))
        {
            return fail(QStringLiteral("Invalid byte count token format."));
        }
        std::vector<uint32_t> values;
        for (uint32_t i = 0; i < ulBytes / 4; ++i)
        {
            const qsizetype nToken = 6 + static_cast<qsizetype>(i);
            if (tokens.size() <= nToken || tokens[nToken].trimmed() == QLatin1String("#"))
            {
                return fail(QStringLiteral("Invalid token: looking for value."));
            }
            uint32_t ulValue = 0;
            if (!ParseHex(tokens[nToken].trimmed(), &ulValue))
            {
                return fail(QStringLiteral("Invalid value token format."));
            }
            values.push_back(ulValue);
        }
        if (values.empty())
        {
            continue;
        }
        const int32_t nAdd = image.AddRegInit(ulOffset, static_cast<uint32_t>(values.size()), values.data());
        if (nAdd != NV_EEPROM_OK)
        {
            return fail(EepromPluginErrorText(nAdd), true);
        }
    }
    image.Finalize();
    *pulUsed = image.GetBytesUsed();
    *pImage = image.Bytes();
    return true;
}

SEepromImageResult GenerateEepromImage(CNetInitScriptGen& gen, CPEPrimitive& pe, uint32_t ulSize,
                                       bool bExcludeReadOnly, const EepromProgress& progress)
{
    SEepromImageResult result;
    gen.bComments = false;
    gen.bPreInitRT = true;
    gen.bExcludeRO = bExcludeReadOnly;
    gen.eFormat = eInitFormatScript;
    Report(progress, QStringLiteral("Determinging initialization order...\n"));
    Report(progress, QStringLiteral("Checking for errors...\n"));
    if (!gen.GenerateFrom(pe.iNodeNumber))
    {
        result.strError = QStringLiteral("EEPROM image cannot be generated.  Correct errors and try again.");
        return result;
    }
    if (gen.ErrorCount() != 0)
    {
        result.strErrorsTab = QString::asprintf("%d errors.\r\n", gen.ErrorCount()) + gen.ErrorsText();
        result.strError = QStringLiteral("EEPROM image cannot be generated.  Correct errors and try again.");
        return result;
    }
    Report(progress, QStringLiteral("Generating initialization sequence...\n"));
    QTemporaryFile script;
    QTemporaryFile log;
    if (!MakeTemporary(script, QStringLiteral("SCRIPT"), &result.strError) ||
        !MakeTemporary(log, QStringLiteral("LOG"), &result.strError))
    {
        return result;
    }
    const QByteArray scriptBytes = gen.ScriptText().toLatin1();
    if (script.write(scriptBytes) != scriptBytes.size() || !script.flush())
    {
        result.strError = QString::asprintf("Unable to create temporary file %s, error %d",
                                            qPrintable(script.fileName()), static_cast<int>(script.error()));
        return result;
    }
    log.close();
    std::vector<NVXL_SCRIPTCOMMANDSTRUCT> parsed;
    std::vector<int> lines;
    int iBadLine = 0;
    QFile scriptIn(script.fileName());
    if (!scriptIn.open(QIODevice::ReadOnly) ||
        !ParseInitScript(QString::fromLatin1(scriptIn.readAll()), &parsed, &iBadLine, &lines))
    {
        result.strError = QStringLiteral("EEPROM image cannot be generated.  Correct errors and try again.");
        return result;
    }
    // The image is the PE's own boot: with the PE as the host its actions address it locally
    // (DestID FFFFFFFFh, hop 0); the actions for the devices beyond it belong in their own
    // images and are not played, or their writes would land in this one.
    std::vector<NVXL_SCRIPTCOMMANDSTRUCT> records;
    std::vector<int> recordLines;
    for (size_t i = 0; i < parsed.size(); ++i)
    {
        if (parsed[i].ulDest == 0xFFFFFFFFu && parsed[i].byHop == 0)
        {
            records.push_back(parsed[i]);
            recordLines.push_back(lines[i]);
        }
    }
    if (!CreateLogFile(log.fileName()))
    {
        result.strError = QString::asprintf("Unable to create temporary file %s, error %d",
                                            qPrintable(log.fileName()), errno);
        return result;
    }
    Report(progress, QStringLiteral("Creating EEPROM image based upon your selections...\n"));
    int iFailed = -1;
    int32_t nStatus = 0;
    {
        const CImageLinkScope imageLink(pe.SavedRegisters);
        nStatus = PlayScript(records, &iFailed);
    }
    if (nStatus != 0)
    {
        const QStringList scriptLines = gen.ScriptText().split(QStringLiteral("\r\n"));
        const int iLine = iFailed >= 0 ? recordLines[static_cast<size_t>(iFailed)] : 0;
        result.strError = RioErrorText(nStatus);
        if (iLine > 0 && iLine <= scriptLines.size())
        {
            result.strError +=
                QStringLiteral("\nLine %1 of the script failed: %2").arg(iLine).arg(scriptLines[iLine - 1]);
        }
        return result;
    }
    Report(progress, QStringLiteral("Converting to EEPROM image...\n"));
    QByteArray image;
    uint32_t ulUsed = 0;
    if (!LogToImage(LoadedEepromPlugins(), log.fileName(), pe.ManufID, pe.DeviceID, ulSize, &image, &ulUsed,
                    &result.strError))
    {
        return result;
    }
    result.image = image.left(static_cast<qsizetype>(ulUsed));
    result.bOk = true;
    return result;
}

bool WriteEepromImage(const SEepromTarget& target, const SEepromType& type, const QByteArray& image,
                      QString* pError, const EepromProgress& progress)
{
    if (static_cast<uint32_t>(image.size()) > kMaxImageBytes)
    {
        *pError = QStringLiteral("The selected image is too large.");
        return false;
    }
    if (static_cast<uint32_t>(image.size()) > type.ulSize)
    {
        *pError = QStringLiteral("The selected image is will not fit in the specified EEPROM.");
        return false;
    }
    if (!SupportsEEPROM(target.wVendorID, target.wDeviceID))
    {
        *pError = QStringLiteral(
            "This device does not support EEPROM access via RapidIO maintenance transactions.");
        return false;
    }
    if (SetEEPROMAddress(target.wVendorID, target.wDeviceID, target.uchLocalPort, target.ulDestID,
                         target.uchHopCount, static_cast<uint8_t>(type.ulAddressSize),
                         target.uchI2CAddress) != 0)
    {
        *pError = QStringLiteral("Unable to set EEPROM address.");
        return false;
    }
    Report(progress, QStringLiteral("Writing the image to the EEPROM...\n"));
    const uint32_t ulChunk = ChunkBytes(type);
    const auto* pbImage = reinterpret_cast<const uint8_t*>(image.constData());
    const uint32_t ulTotal = static_cast<uint32_t>(image.size());
    for (uint32_t ulAddress = 0; ulAddress < ulTotal;)
    {
        // A write never crosses a page: the part would wrap it to the page's start.
        const uint32_t ulCount = std::min(ulChunk - ulAddress % ulChunk, ulTotal - ulAddress);
        const int32_t nStatus = WriteEEPROM(
            target.wVendorID, target.wDeviceID, target.uchLocalPort, target.ulDestID, target.uchHopCount,
            static_cast<uint16_t>(ulCount), static_cast<uint16_t>(ulAddress), pbImage + ulAddress);
        if (nStatus != 0)
        {
            *pError = QString::asprintf("Write failed with error %d", nStatus);
            return false;
        }
        ulAddress += ulCount;
    }
    Report(progress, QStringLiteral("Reading the image back from the EEPROM...\n"));
    QByteArray readBack;
    QString strReadError;
    if (!ReadEepromImage(target, type, ulTotal, &readBack, &strReadError))
    {
        *pError = strReadError;
        return false;
    }
    Report(progress, QStringLiteral("Comparing...\n"));
    if (readBack != image)
    {
        Report(progress, QStringLiteral("Write validation failed\n"));
        *pError = QStringLiteral("Write validation failed.");
        return false;
    }
    return true;
}

bool ReadEepromImage(const SEepromTarget& target, const SEepromType& type, uint32_t ulBytes,
                     QByteArray* pImage, QString* pError, const EepromProgress& progress)
{
    if (ulBytes > type.ulSize || ulBytes > kMaxImageBytes)
    {
        *pError = QStringLiteral("The selected image is will not fit in the specified EEPROM.");
        return false;
    }
    if (!SupportsEEPROM(target.wVendorID, target.wDeviceID))
    {
        *pError = QStringLiteral(
            "This device does not support EEPROM access via RapidIO maintenance transactions.");
        return false;
    }
    if (SetEEPROMAddress(target.wVendorID, target.wDeviceID, target.uchLocalPort, target.ulDestID,
                         target.uchHopCount, static_cast<uint8_t>(type.ulAddressSize),
                         target.uchI2CAddress) != 0)
    {
        *pError = QStringLiteral("Unable to set EEPROM address.");
        return false;
    }
    Report(progress, QStringLiteral("Reading EEPROM..."));
    QByteArray bytes(static_cast<qsizetype>(ulBytes), '\0');
    const uint32_t ulChunk = ChunkBytes(type);
    for (uint32_t ulAddress = 0; ulAddress < ulBytes; ulAddress += ulChunk)
    {
        const uint32_t ulCount = std::min(ulChunk, ulBytes - ulAddress);
        if (ReadEEPROM(target.wVendorID, target.wDeviceID, target.uchLocalPort, target.ulDestID,
                       target.uchHopCount, static_cast<uint16_t>(ulCount), static_cast<uint16_t>(ulAddress),
                       reinterpret_cast<uint8_t*>(bytes.data()) + ulAddress) != 0)
        {
            *pError = QStringLiteral("Read failed.");
            return false;
        }
    }
    *pImage = bytes;
    return true;
}

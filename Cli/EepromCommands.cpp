// Boot EEPROM images: made from a saved map with the device's image plug-in, and written to or
// read from the EEPROM behind a device's I2C master over maintenance transactions.
#include "CliCommand.h"
#include "CliMap.h"
#include "CliOptions.h"
#include "CliTarget.h"

#include "EepromImage.h"
#include "NetInitScriptGen.h"
#include "NetworkDocument.h"
#include "Preferences.h"
#include "Primitives.h"
#include "SRecord.h"
#include "SafeFile.h"
#include "StatusText.h"
#include "TargetClient.h"
#include "TargetConnection.h"

#include <QBuffer>
#include <QFile>
#include <QFileInfo>

#include <cstdio>

namespace
{
void PrintError(const QString& strText)
{
    std::fprintf(stderr, "%s\n", strText.toLocal8Bit().constData());
}

// The part named by --type; without it the preference "DefaultI2Cchip", and without that the
// largest generic part. Null (with the message printed) for a name the table doesn't have.
const SEepromType* EepromTypeOption(const CCliOptions& options)
{
    QString strName = QString::fromStdString(options.Value("--type"));
    if (strName.isEmpty())
    {
        strName = GetPreference(QStringLiteral("Preferences"), QStringLiteral("DefaultI2Cchip"),
                                QStringLiteral("Generic 256 kBit"));
    }
    const SEepromType* pType = FindEepromType(strName);
    if (!pType)
    {
        QStringList names;
        for (const SEepromType& type : EepromTypes())
        {
            names.append(QLatin1String(type.pszDeviceType));
        }
        PrintError(QStringLiteral("Unknown EEPROM device type '%1'; the types are: %2")
                       .arg(strName, names.join(QStringLiteral(", "))));
    }
    return pType;
}

// "bin" or "sre": --format, or else the file's extension; empty for anything else.
QString ImageFormat(const CCliOptions& options, const QString& strPath)
{
    const QString strFormat = options.Has("--format") ? QString::fromStdString(options.Value("--format"))
                                                      : QFileInfo(strPath).suffix().toLower();
    return strFormat == QLatin1String("bin") || strFormat == QLatin1String("sre") ? strFormat : QString();
}

// Leaves the port speeds out, as unchecking them in the generator window does.
void UncheckPortSpeeds(std::vector<SInitTreeItem>& items)
{
    for (SInitTreeItem& item : items)
    {
        if (item.eKind == eInitItemPortSettings || item.eKind == eInitItemPortSpeed)
        {
            item.SetChecked(false);
        }
        UncheckPortSpeeds(item.children);
    }
}

bool SaveImage(const QByteArray& image, const QString& strPath, const QString& strFormat,
               const SEepromType& type)
{
    QByteArray bytes = image;
    if (strFormat == QLatin1String("sre"))
    {
        QBuffer buffer(&bytes);
        bytes.clear();
        buffer.open(QIODevice::WriteOnly);
        WriteSRecordImage(reinterpret_cast<const uint8_t*>(image.constData()),
                          static_cast<size_t>(image.size()), buffer, 0, static_cast<int>(type.ulAddressSize));
    }
    const CSafeSaveResult result = SaveFileSafely(strPath, bytes);
    if (!result.Ok())
    {
        PrintError(
            QString::asprintf("Unable to open%s, error %d", qPrintable(strPath), result.ErrorNumber()));
        return false;
    }
    return true;
}

bool LoadImage(const QString& strPath, QByteArray* pImage)
{
    const QString strSuffix = QFileInfo(strPath).suffix().toLower();
    if (strSuffix != QLatin1String("bin") && strSuffix != QLatin1String("sre"))
    {
        PrintError(QStringLiteral("Unknown file type.  Must be .bin or .sre"));
        return false;
    }
    QFile file(strPath);
    if (!file.open(QIODevice::ReadOnly))
    {
        PrintError(QStringLiteral("Unable to open %1\n\n%2").arg(strPath, file.errorString()));
        return false;
    }
    if (strSuffix == QLatin1String("bin"))
    {
        *pImage = file.readAll();
        return true;
    }
    std::unique_ptr<uint8_t[]> data;
    size_t nSize = 0;
    if (!ReadSRecordImage(file, &data, &nSize))
    {
        PrintError(QStringLiteral("Unable to read EEPROM image file."));
        return false;
    }
    *pImage = QByteArray(reinterpret_cast<const char*>(data.get()), static_cast<qsizetype>(nSize));
    return true;
}

// NODE of the target commands: DEST:HOP, the destination ID and hop count of the device. Its
// vendor and device IDs are read from its Device Identity CAR.
bool OpenEepromTarget(const CCliOptions& options, const std::string& strNode, SEepromTarget* pTarget,
                      CliConnection* pConnection)
{
    const size_t nColon = strNode.find(':');
    uint64_t ullDest = 0;
    uint64_t ullHop = 0;
    if (nColon == std::string::npos || !CliNumber(strNode.substr(0, nColon), 0xFFFFFFFFu, &ullDest) ||
        !CliNumber(strNode.substr(nColon + 1), 0xFF, &ullHop))
    {
        PrintError(QStringLiteral("NODE is DEST:HOP, the destination ID and hop count of the device"));
        return false;
    }
    uint64_t ullAddress = 0x50;
    if (!options.Number("--i2c-address", 0x7F, &ullAddress))
    {
        return false;
    }
    *pConnection = OpenCliTarget();
    if (!*pConnection)
    {
        return false;
    }
    pTarget->ulDestID = static_cast<uint32_t>(ullDest);
    pTarget->uchHopCount = static_cast<uint8_t>(ullHop);
    pTarget->uchI2CAddress = static_cast<uint8_t>(ullAddress);
    uint32_t ulIdentity = 0;
    const int32_t nStatus = CTargetClient::Instance().Maint_read(0, pTarget->ulDestID, pTarget->uchHopCount,
                                                                 0, &ulIdentity, 1, 4, 2);
    if (nStatus != 0)
    {
        CliFailure(nStatus);
        return false;
    }
    pTarget->wDeviceID = static_cast<uint16_t>(ulIdentity >> 16);
    pTarget->wVendorID = static_cast<uint16_t>(ulIdentity & 0xFFFF);
    return true;
}

int RunEepromImage(const SCliInvocation& invocation)
{
    const char* const pszUsage = "eeprom image MAP NODE --type TYPE --out FILE [--format bin|sre] "
                                 "[--exclude-read-only] [--no-port-speeds]";
    const CCliOptions options(invocation.args, {"--type", "--out", "--format"},
                              {"--exclude-read-only", "--no-port-speeds"});
    uint64_t ullNode = 0;
    if (!options.Ok() || options.Positional().size() != 2 || !options.Has("--out") ||
        !CliNumber(options.Positional()[1], 0xFFFF, &ullNode))
    {
        return CliUsage(pszUsage);
    }
    const QString strOut = QString::fromStdString(options.Value("--out"));
    const QString strFormat = ImageFormat(options, strOut);
    if (strFormat.isEmpty())
    {
        PrintError(QStringLiteral("Unknown file type.  Must be .bin or .sre"));
        return 2;
    }
    const SEepromType* pType = EepromTypeOption(options);
    if (!pType)
    {
        return 2;
    }
    CNetworkDocument map;
    if (!LoadCommandMap(options.Positional()[0], map))
    {
        return 1;
    }
    CPEPrimitive* pPE = ullNode ? map.ActivePEs.GetByNodeNumber(static_cast<int>(ullNode - 1)) : nullptr;
    if (!pPE || pPE->bDeleted)
    {
        PrintError(QStringLiteral("Node not found"));
        return 1;
    }
    QStringList loadMessages;
    LoadedEepromPlugins(&loadMessages);
    for (const QString& strMessage : loadMessages)
    {
        PrintError(strMessage);
    }
    CNetInitScriptGen gen(map);
    gen.BuildTree();
    if (options.Has("--no-port-speeds"))
    {
        UncheckPortSpeeds(gen.Tree());
    }
    const SEepromImageResult result =
        GenerateEepromImage(gen, *pPE, pType->ulSize, options.Has("--exclude-read-only"));
    if (!result.bOk)
    {
        if (!result.strErrorsTab.isEmpty())
        {
            QString strErrors = result.strErrorsTab;
            strErrors.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
            std::fputs(strErrors.toLocal8Bit().constData(), stderr);
        }
        PrintError(result.strError);
        return 1;
    }
    if (!SaveImage(result.image, strOut, strFormat, *pType))
    {
        return 1;
    }
    std::printf("EEPROM image of node %llu: %lld of %u bytes used; saved %s\n",
                static_cast<unsigned long long>(ullNode), static_cast<long long>(result.image.size()),
                pType->ulSize, qPrintable(strOut));
    return 0;
}

int RunEepromWrite(const SCliInvocation& invocation)
{
    const char* const pszUsage = "eeprom write DEST:HOP FILE [--type TYPE] [--i2c-address A]";
    const CCliOptions options(invocation.args, {"--type", "--i2c-address"}, {});
    if (!options.Ok() || options.Positional().size() != 2)
    {
        return CliUsage(pszUsage);
    }
    const SEepromType* pType = EepromTypeOption(options);
    if (!pType)
    {
        return 2;
    }
    QByteArray image;
    if (!LoadImage(QString::fromStdString(options.Positional()[1]), &image))
    {
        return 1;
    }
    SEepromTarget target;
    CliConnection connection{nullptr, [](CTargetConnection*) {}};
    if (!OpenEepromTarget(options, options.Positional()[0], &target, &connection))
    {
        return 1;
    }
    QString strError;
    if (!WriteEepromImage(target, *pType, image, &strError))
    {
        PrintError(strError);
        return 1;
    }
    std::printf("Wrote %lld bytes to the EEPROM and read them back\n", static_cast<long long>(image.size()));
    return 0;
}

int RunEepromRead(const SCliInvocation& invocation)
{
    const char* const pszUsage = "eeprom read DEST:HOP FILE [--type TYPE] [--bytes N] [--i2c-address A]";
    const CCliOptions options(invocation.args, {"--type", "--bytes", "--i2c-address"}, {});
    if (!options.Ok() || options.Positional().size() != 2)
    {
        return CliUsage(pszUsage);
    }
    const QString strOut = QString::fromStdString(options.Positional()[1]);
    const QString strFormat = ImageFormat(options, strOut);
    if (strFormat.isEmpty())
    {
        PrintError(QStringLiteral("Unknown file type.  Must be .bin or .sre"));
        return 2;
    }
    const SEepromType* pType = EepromTypeOption(options);
    if (!pType)
    {
        return 2;
    }
    uint64_t ullBytes = pType->ulSize;
    if (!options.Number("--bytes", pType->ulSize, &ullBytes))
    {
        return 2;
    }
    SEepromTarget target;
    CliConnection connection{nullptr, [](CTargetConnection*) {}};
    if (!OpenEepromTarget(options, options.Positional()[0], &target, &connection))
    {
        return 1;
    }
    QByteArray image;
    QString strError;
    if (!ReadEepromImage(target, *pType, static_cast<uint32_t>(ullBytes), &image, &strError))
    {
        PrintError(strError);
        return 1;
    }
    if (!SaveImage(image, strOut, strFormat, *pType))
    {
        return 1;
    }
    std::printf("Read %lld bytes of the EEPROM; saved %s\n", static_cast<long long>(image.size()),
                qPrintable(strOut));
    return 0;
}
} // namespace

extern const SCliCommand g_aEepromCommands[] = {
    {"eeprom image",
     "MAP NODE --type TYPE --out FILE [--format bin|sre] [--exclude-read-only] [--no-port-speeds]",
     RunEepromImage},
    {"eeprom write", "DEST:HOP FILE [--type TYPE] [--i2c-address A]", RunEepromWrite},
    {"eeprom read", "DEST:HOP FILE [--type TYPE] [--bytes N] [--i2c-address A]", RunEepromRead},
    {nullptr, nullptr, nullptr},
};

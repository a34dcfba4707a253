// norvanta-cli packet encode|decode: the packet field model of the packet tools without a window.
// encode builds a packet from fields named by their captions and prints its bytes as the packet
// list shows them; decode lays raw bytes out into fields and says whether the CRCs are good.
// Neither needs a target. Exit status 0: done; 1: an illegal value or field (encode), a bad CRC
// (decode); 2: bad usage, an unknown field or a text that is no number.
#include "CliCommand.h"
#include "CliOptions.h"

#include "NumberText.h"
#include "PacketText.h"
#include "RIOPacket.h"

#include <cstdio>

namespace
{
const char* const kEncodeUsage = "packet encode [--address-bits 34|50|66] FIELD=VALUE...";
const char* const kDecodeUsage = "packet decode [--address-bits 34|50|66] HEX";
constexpr int kRefused = 1;
constexpr int kUsage = 2;

void PrintLine(FILE* pFile, const QString& strLine)
{
    std::fprintf(pFile, "%s\n", strLine.toLocal8Bit().constData());
}

// The --address-bits option; false (and a message) when it is not one of the three sizes.
bool AddressBits(const CCliOptions& options, uint32_t* pnBits)
{
    *pnBits = 34;
    if (!options.Has("--address-bits"))
    {
        return true;
    }
    const std::string strValue = options.Value("--address-bits");
    if (strValue == "34" || strValue == "50" || strValue == "66")
    {
        *pnBits = static_cast<uint32_t>(std::stoul(strValue));
        return true;
    }
    std::fprintf(stderr, "--address-bits takes 34, 50 or 66, not '%s'\n", strValue.c_str());
    return false;
}

int RunEncode(const SCliInvocation& invocation)
{
    const CCliOptions options(invocation.args, {"--address-bits"}, {});
    if (!options.Ok())
    {
        std::fprintf(stderr, "%s\n", options.Error().c_str());
        return CliUsage(kEncodeUsage);
    }
    uint32_t nBits = 34;
    if (!AddressBits(options, &nBits))
    {
        return CliUsage(kEncodeUsage);
    }
    if (options.Positional().empty())
    {
        return CliUsage(kEncodeUsage);
    }
    std::vector<SPacketFieldText> fields;
    for (const std::string& strWord : options.Positional())
    {
        const size_t nEquals = strWord.find('=');
        if (nEquals == std::string::npos || nEquals == 0)
        {
            std::fprintf(stderr, "FIELD=VALUE expected, not '%s'\n", strWord.c_str());
            return CliUsage(kEncodeUsage);
        }
        fields.push_back({QString::fromStdString(strWord.substr(0, nEquals)),
                          QString::fromStdString(strWord.substr(nEquals + 1))});
    }
    CRIOPacket packet;
    packet.SetAddressBits(nBits);
    const SPacketBuildResult result = BuildPacketFromTexts(packet, fields);
    for (const QString& strMessage : result.messages)
    {
        PrintLine(stderr, strMessage);
    }
    if (result.eError == SPacketBuildResult::eUsage)
    {
        return CliUsage(kEncodeUsage);
    }
    if (result.eError == SPacketBuildResult::eRefused)
    {
        return kRefused;
    }
    std::vector<uint8_t> bytes;
    packet.GetStream(bytes);
    PrintLine(stdout, PacketListString(bytes));
    return 0;
}

// The bytes typed for decode: hex digits, in one word or several, "0x" ahead of a word allowed.
bool BytesFromWords(const std::vector<std::string>& words, std::vector<uint8_t>* pBytes)
{
    QString strDigits;
    for (const std::string& strWord : words)
    {
        QString strText = QString::fromStdString(strWord).simplified().remove(QLatin1Char(' '));
        if (strText.startsWith(QLatin1String("0x"), Qt::CaseInsensitive))
        {
            strText = strText.mid(2);
        }
        for (const QChar ch : strText)
        {
            if (!ch.isDigit() && !(ch.toUpper() >= QLatin1Char('A') && ch.toUpper() <= QLatin1Char('F')))
            {
                return false;
            }
        }
        strDigits += strText;
    }
    if (strDigits.isEmpty() || strDigits.size() % 2 != 0 || strDigits.size() / 2 > int{kRIOMaxPacketBytes})
    {
        return false;
    }
    *pBytes = ParsePacketListLine(strDigits);
    return true;
}

// "CRC good", or "CRC bad: the packet has 1234, computed ABCD".
QString CrcVerdict(const CRIOPacketField& field, const CRIOPacketField& computed, const char* pszName)
{
    if (field.IsValueValid())
    {
        return QStringLiteral("%1 good").arg(QLatin1String(pszName));
    }
    return QStringLiteral("%1 bad: the packet has %2, computed %3")
        .arg(QLatin1String(pszName), FieldValueText(field), FieldValueText(computed));
}

int RunDecode(const SCliInvocation& invocation)
{
    const CCliOptions options(invocation.args, {"--address-bits"}, {});
    if (!options.Ok())
    {
        std::fprintf(stderr, "%s\n", options.Error().c_str());
        return CliUsage(kDecodeUsage);
    }
    uint32_t nBits = 34;
    if (!AddressBits(options, &nBits))
    {
        return CliUsage(kDecodeUsage);
    }
    if (options.Positional().empty())
    {
        return CliUsage(kDecodeUsage);
    }
    std::vector<uint8_t> bytes;
    if (!BytesFromWords(options.Positional(), &bytes))
    {
        std::fprintf(stderr, "%s HEX is pairs of hexadecimal digits, 1 to %u bytes.\n",
                     InvalidEntryText().toLocal8Bit().constData(), kRIOMaxPacketBytes);
        return CliUsage(kDecodeUsage);
    }
    const auto nCount = static_cast<uint32_t>(bytes.size());
    CRIOPacket packet;
    packet.SetAddressBits(nBits);
    const bool bCovered = LoadPacketBytes(packet, bytes.data(), nCount);
    for (const QString& strLine : PacketFieldLines(packet))
    {
        PrintLine(stdout, strLine);
    }
    if (!bCovered)
    {
        PrintLine(stdout, QStringLiteral("Length: %1 bytes given, the fields of this packet take %2")
                              .arg(nCount)
                              .arg(packet.GetPacketBytes()));
    }
    // The same packet with its CRCs computed, for the values they should have.
    CRIOPacket computed;
    computed.SetAddressBits(nBits);
    LoadPacketBytes(computed, bytes.data(), nCount);
    computed.UpdateCRC(false);
    QStringList verdicts;
    bool bGood = true;
    for (const auto& [nID, pszName] :
         {std::pair{eRIOFieldEARLYCRC, "Early CRC"}, std::pair{eRIOFieldCRC, "CRC"}})
    {
        const CRIOPacketField* pField = packet.FindField(nID);
        if (!pField)
        {
            continue;
        }
        bGood = bGood && pField->IsValueValid();
        verdicts << CrcVerdict(*pField, *computed.FindField(nID), pszName);
    }
    PrintLine(stdout, verdicts.join(QStringLiteral(", ")));
    return bGood ? 0 : kRefused;
}
} // namespace

extern const SCliCommand g_aPacketCommands[] = {
    {"packet encode", "[--address-bits 34|50|66] FIELD=VALUE...", RunEncode},
    {"packet decode", "[--address-bits 34|50|66] HEX", RunDecode},
    {nullptr, nullptr, nullptr},
};

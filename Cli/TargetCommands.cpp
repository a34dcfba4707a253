// Commands that talk to a target: identify, read, write and search.
#include "CliCommand.h"
#include "CliOptions.h"
#include "CliTarget.h"

#include "ClientStatus.h"
#include "NVXLHal.h"
#include "TargetClient.h"
#include "TargetConnection.h"
#include "TargetList.h"

#include <cstdio>
#include <vector>

namespace
{
// The address options of a maintenance transaction: --dest (default the host's own device)
// and --hop.
bool TargetAddress(const CCliOptions& options, uint32_t* pulDestID, uint8_t* puchHopCount)
{
    uint64_t ulDestID = 0xFFFFFFFFu;
    uint64_t ulHop = 0;
    if (!options.Number("--dest", 0xFFFFFFFFu, &ulDestID) || !options.Number("--hop", 0xFF, &ulHop))
    {
        return false;
    }
    *pulDestID = static_cast<uint32_t>(ulDestID);
    *puchHopCount = static_cast<uint8_t>(ulHop);
    return true;
}

int RunIdentify(const SCliInvocation& invocation)
{
    if (!invocation.args.empty())
    {
        return CliUsage("identify");
    }
    auto pConnection = OpenCliTarget();
    if (!pConnection)
    {
        return 1;
    }
    for (const QString& strLine : ServerInfoLines(pConnection->ServerInfo()))
    {
        std::printf("%s\n", strLine.toLocal8Bit().constData());
    }
    return 0;
}

int RunRead(const SCliInvocation& invocation)
{
    const char* const pszUsage = "read OFFSET [--dest ID] [--hop N] [--count N] [--size 1|2|4] [--stride N]";
    const CCliOptions options(invocation.args, {"--dest", "--hop", "--count", "--size", "--stride"}, {});
    if (!options.Ok() || options.Positional().size() != 1)
    {
        return CliUsage(pszUsage);
    }
    uint64_t ulOffset = 0;
    uint64_t ulCount = 1;
    uint64_t ulSize = 4;
    uint32_t ulDestID = 0;
    uint8_t uchHop = 0;
    if (!CliNumber(options.Positional()[0], 0xFFFFFFu, &ulOffset) ||
        !options.Number("--count", 0x10000, &ulCount) || !options.Number("--size", 4, &ulSize) ||
        !TargetAddress(options, &ulDestID, &uchHop))
    {
        return 2;
    }
    if (ulSize != 1 && ulSize != 2 && ulSize != 4)
    {
        return CliUsage(pszUsage);
    }
    uint64_t ulStride = ulSize;
    if (!options.Number("--stride", 0xFFFFFF, &ulStride))
    {
        return 2;
    }
    auto pConnection = OpenCliTarget();
    if (!pConnection)
    {
        return 1;
    }
    const auto ulWords = static_cast<uint32_t>(ulCount);
    std::vector<uint32_t> words(ulWords + 1);
    std::vector<uint16_t> halves(ulWords + 1);
    std::vector<uint8_t> bytes(ulWords + 1);
    CTargetClient& client = CTargetClient::Instance();
    const auto ulOffset32 = static_cast<uint32_t>(ulOffset);
    const auto ulStride32 = static_cast<uint32_t>(ulStride);
    const uint32_t ulPriority = HalGetPriority();
    int32_t nStatus = 0;
    if (ulSize == 4)
    {
        nStatus =
            client.Maint_read(0, ulDestID, uchHop, ulOffset32, words.data(), ulWords, ulStride32, ulPriority);
    }
    else if (ulSize == 2)
    {
        nStatus = client.Maint_read(0, ulDestID, uchHop, ulOffset32, halves.data(), ulWords, ulStride32,
                                    ulPriority);
    }
    else
    {
        nStatus =
            client.Maint_read(0, ulDestID, uchHop, ulOffset32, bytes.data(), ulWords, ulStride32, ulPriority);
    }
    if (nStatus != eRioOk)
    {
        return CliFailure(nStatus);
    }
    for (uint32_t i = 0; i < ulWords; ++i)
    {
        if (ulSize == 4)
        {
            std::printf("0x%08x\n", words[i]);
        }
        else if (ulSize == 2)
        {
            std::printf("0x%04x\n", halves[i]);
        }
        else
        {
            std::printf("0x%02x\n", bytes[i]);
        }
    }
    return 0;
}

int RunWrite(const SCliInvocation& invocation)
{
    const char* const pszUsage = "write OFFSET VALUE... [--dest ID] [--hop N] [--stride N]";
    const CCliOptions options(invocation.args, {"--dest", "--hop", "--stride"}, {});
    if (!options.Ok() || options.Positional().size() < 2)
    {
        return CliUsage(pszUsage);
    }
    uint64_t ulOffset = 0;
    uint64_t ulStride = 4;
    uint32_t ulDestID = 0;
    uint8_t uchHop = 0;
    if (!CliNumber(options.Positional()[0], 0xFFFFFFu, &ulOffset) ||
        !options.Number("--stride", 0xFFFFFF, &ulStride) || !TargetAddress(options, &ulDestID, &uchHop))
    {
        return 2;
    }
    std::vector<uint32_t> words;
    for (size_t i = 1; i < options.Positional().size(); ++i)
    {
        uint64_t ulValue = 0;
        if (!CliNumber(options.Positional()[i], 0xFFFFFFFFu, &ulValue))
        {
            return 2;
        }
        words.push_back(static_cast<uint32_t>(ulValue));
    }
    auto pConnection = OpenCliTarget();
    if (!pConnection)
    {
        return 1;
    }
    const int32_t nStatus = CTargetClient::Instance().Maint_write(
        0, ulDestID, uchHop, static_cast<uint32_t>(ulOffset), words.data(),
        static_cast<uint32_t>(words.size()), static_cast<uint32_t>(ulStride), HalGetPriority());
    return nStatus == eRioOk ? 0 : CliFailure(nStatus);
}

int RunSearch(const SCliInvocation& invocation)
{
    if (!invocation.args.empty())
    {
        return CliUsage("search");
    }
    CTargetList list;
    list.Load();
    if (!list.Search())
    {
        return 1;
    }
    list.SaveIfChanged();
    std::printf("%s\n", CTargetList::Columns().join(QLatin1Char('\t')).toLocal8Bit().constData());
    for (const STargetEntry& entry : list.Entries())
    {
        if (!entry.bChecked)
        {
            continue;
        }
        const QStringList columns = {entry.strAddress, entry.strDeviceID, entry.strVendorID, entry.strShortID,
                                     entry.strLongID,  entry.strProt,     entry.strStatus};
        std::printf("%s\n", columns.join(QLatin1Char('\t')).toLocal8Bit().constData());
    }
    return 0;
}
} // namespace

extern const SCliCommand g_aTargetCommands[] = {
    {"identify", "", RunIdentify},
    {"read", "OFFSET [--dest ID] [--hop N] [--count N] [--size 1|2|4] [--stride N]", RunRead},
    {"write", "OFFSET VALUE... [--dest ID] [--hop N] [--stride N]", RunWrite},
    {"search", "", RunSearch},
    {nullptr, nullptr, nullptr},
};

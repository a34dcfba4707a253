// norvanta-cli watch: registers or bit fields of a map's PEs polled with triggers, as the watch
// window does, for a number of polls. Items come from --add, or else from the map's own watch
// table. Every log line goes to standard output and, with --log, to a file.
#include "CliCollectingInterface.h"
#include "CliCommand.h"
#include "CliMap.h"
#include "CliOptions.h"

#include "NetworkDocument.h"
#include "NumberText.h"
#include "PETypes.h"
#include "RegisterAccess.h"
#include "RegisterTree.h"
#include "StatusText.h"
#include "TargetConnection.h"
#include "UserInterface.h"
#include "WatchMonitor.h"
#include "WatchTrigger.h"

#include <QStringList>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

namespace
{
const char* const kCommand = "watch";
const char* const kUsage =
    "watch MAP [--add NODE REGISTER [FIELD] [--trigger SPEC] [--action none|beep|highlight|messagebox]\n"
    "          [--log-mode none|all|triggers] [--period S]]... [--polls N] [--interval-ms N]\n"
    "          [--log FILE] [--save MAP]";
// Errors of this command end it with this status, bad usage included.
constexpr int kExitError = 2;

void PrintError(const QString& strText)
{
    for (const QString& strLine : strText.trimmed().split(QLatin1Char('\n')))
    {
        std::fprintf(stderr, "%s: %s\n", kCommand, strLine.trimmed().toLocal8Bit().constData());
    }
}

int Fail(const QString& strText)
{
    PrintError(strText);
    return kExitError;
}

int FailWith(CCollectingInterface& messages, const QString& strFallback)
{
    if (messages.Messages.isEmpty())
    {
        PrintError(strFallback);
    }
    for (const QString& strMessage : messages.Messages)
    {
        PrintError(strMessage);
    }
    messages.Messages.clear();
    return kExitError;
}

// One --add as typed.
struct SWatchRequest
{
    std::string strNode;
    std::string strRegister;
    std::string strField; // empty for the whole register
    std::string strTrigger = "Change";
    std::string strAction = "none";
    std::string strLogMode = "triggers";
    std::string strPeriod = "1";
};

struct SWatchArgs
{
    std::string strMap;
    std::vector<SWatchRequest> requests;
    std::string strPolls = "1";
    std::string strInterval = "1000";
    std::string strLog;
    std::string strSave;
};

bool IsOption(const std::string& strWord)
{
    return strWord.size() > 2 && strWord.compare(0, 2, "--") == 0;
}

// Reads the words: the map first, then --add groups with their own options, and the options of
// the run anywhere. Returns an empty text, or what is wrong.
std::string ParseArgs(const std::vector<std::string>& args, SWatchArgs* pArgs)
{
    const std::vector<std::string> itemOptions = {"--trigger", "--action", "--log-mode", "--period"};
    for (size_t i = 0; i < args.size(); ++i)
    {
        const std::string& strWord = args[i];
        if (!IsOption(strWord))
        {
            if (!pArgs->strMap.empty())
            {
                return "unexpected word '" + strWord + "'";
            }
            pArgs->strMap = strWord;
            continue;
        }
        if (strWord == "--add")
        {
            SWatchRequest request;
            std::vector<std::string> words;
            while (i + 1 < args.size() && !IsOption(args[i + 1]) && words.size() < 3)
            {
                words.push_back(args[++i]);
            }
            if (words.size() < 2)
            {
                return "--add needs NODE and REGISTER";
            }
            request.strNode = words[0];
            request.strRegister = words[1];
            request.strField = words.size() > 2 ? words[2] : std::string();
            pArgs->requests.push_back(request);
            continue;
        }
        if (i + 1 >= args.size())
        {
            return "option " + strWord + " needs a value";
        }
        const std::string& strValue = args[++i];
        if (std::find(itemOptions.begin(), itemOptions.end(), strWord) != itemOptions.end())
        {
            if (pArgs->requests.empty())
            {
                return "option " + strWord + " belongs after an --add";
            }
            SWatchRequest& request = pArgs->requests.back();
            (strWord == "--trigger"    ? request.strTrigger
             : strWord == "--action"   ? request.strAction
             : strWord == "--log-mode" ? request.strLogMode
                                       : request.strPeriod) = strValue;
        }
        else if (strWord == "--polls")
        {
            pArgs->strPolls = strValue;
        }
        else if (strWord == "--interval-ms")
        {
            pArgs->strInterval = strValue;
        }
        else if (strWord == "--log" || strWord == "--watch-log")
        {
            pArgs->strLog = strValue;
        }
        else if (strWord == "--save")
        {
            pArgs->strSave = strValue;
        }
        else
        {
            return "unknown option " + strWord;
        }
    }
    if (pArgs->strMap.empty())
    {
        return "a map file is needed";
    }
    return {};
}

int WordIndex(const std::string& strWord, const std::vector<std::string>& words)
{
    const QString strText = QString::fromStdString(strWord);
    for (size_t i = 0; i < words.size(); ++i)
    {
        if (strText.compare(QString::fromStdString(words[i]), Qt::CaseInsensitive) == 0)
        {
            return static_cast<int>(i);
        }
    }
    return -1;
}

// What an --add asks for, checked against the map and its register library, before the target
// is opened.
struct SWatchPlan
{
    CPEPrimitive* pPE = nullptr;
    QString RegName;
    uint32_t uOffset = 0;
    QString BFName = QStringLiteral("<All>");
    int iNumBits = 32;
    int iFirst = 0;
    int iLast = 31;
    int eType = eTriggerChange;
    uint32_t uX1 = 0;
    uint32_t uX2 = 0;
    int eAction = eWatchActionNone;
    int eLog = eWatchLogTriggers;
    int iPeriod = 1;
};

// Checks one --add; returns an empty text or the reason it can't be watched.
QString PlanItem(CNetworkDocument& map, const SWatchRequest& request, SWatchPlan* pPlan)
{
    uint64_t ulNode = 0;
    if (!NumberFromText(QString::fromStdString(request.strNode), 0xFFFFu, &ulNode) || ulNode == 0)
    {
        return QStringLiteral("Bad node '%1': nodes are numbered from 1, as the map shows them")
            .arg(QString::fromStdString(request.strNode));
    }
    CPEPrimitive* pPE = map.ActivePEs.GetByNodeNumber(static_cast<int>(ulNode - 1));
    if (!pPE || pPE->bDeleted)
    {
        return QStringLiteral("Node %1 not found").arg(ulNode);
    }
    if (pPE->uType & (kPETypeNull | kPETypeUnknown))
    {
        return QStringLiteral("Node %1 has no registers the register library describes.").arg(ulNode);
    }
    const CRegisterFileInfo* pInfo = RegisterFileOf(*pPE);
    if (!pInfo)
    {
        return QStringLiteral("No register file for Node %1").arg(ulNode);
    }
    const QString strRegister = QString::fromStdString(request.strRegister);
    const std::vector<SRegisterTreeItem> found = FindRegisters(RegisterTreeItems(*pInfo), strRegister);
    if (found.empty())
    {
        return QStringLiteral("No register '%1' on Node %2").arg(strRegister).arg(ulNode);
    }
    if (found.size() > 1)
    {
        QStringList offsets;
        for (const SRegisterTreeItem& item : found)
        {
            offsets << QString::asprintf("%Xh (%s)", item.uOffset, qPrintable(item.Place()));
        }
        return QStringLiteral("'%1' names several registers; give its offset: %2")
            .arg(strRegister, offsets.join(QStringLiteral(", ")));
    }
    const SRegisterTreeItem& treeItem = found.front();
    if (treeItem.pRegister->bMemSpaceIO || I2CBlockNames(*pPE).contains(treeItem.pBlock->Name))
    {
        return QStringLiteral("Register '%1' is not a maintenance register").arg(treeItem.pRegister->Name);
    }
    pPlan->pPE = pPE;
    pPlan->RegName = treeItem.pRegister->Name;
    pPlan->uOffset = treeItem.uOffset;
    const QString strField = QString::fromStdString(request.strField);
    if (!strField.isEmpty() && strField != QStringLiteral("<All>"))
    {
        const CBitField* pField = nullptr;
        for (int f = 0; f < treeItem.pRegister->GetNumBitFields(); ++f)
        {
            if (treeItem.pRegister->GetBitField(f)->Name.compare(strField, Qt::CaseInsensitive) == 0)
            {
                pField = treeItem.pRegister->GetBitField(f);
                break;
            }
        }
        if (!pField)
        {
            return QStringLiteral("Register '%1' has no field '%2'").arg(treeItem.pRegister->Name, strField);
        }
        // The field's bits as the register editor hands them to the watch window.
        pPlan->BFName = pField->Name;
        pPlan->iNumBits = pField->iNumBits;
        pPlan->iFirst = pField->iFirstBit;
        pPlan->iLast = pField->iLastBit;
    }
    const QString strError =
        ParseTriggerSpec(QString::fromStdString(request.strTrigger), &pPlan->eType, &pPlan->uX1, &pPlan->uX2);
    if (!strError.isEmpty())
    {
        return strError;
    }
    pPlan->eAction = WordIndex(request.strAction, {"none", "beep", "highlight", "messagebox"});
    if (pPlan->eAction < 0)
    {
        return QStringLiteral("Unknown action '%1': none, beep, highlight or messagebox")
            .arg(QString::fromStdString(request.strAction));
    }
    pPlan->eLog = WordIndex(request.strLogMode, {"none", "all", "triggers"});
    if (pPlan->eLog < 0)
    {
        return QStringLiteral("Unknown log mode '%1': none, all or triggers")
            .arg(QString::fromStdString(request.strLogMode));
    }
    uint64_t ulPeriod = 0;
    if (!NumberFromText(QString::fromStdString(request.strPeriod), 3600u, &ulPeriod) || ulPeriod == 0)
    {
        return QStringLiteral("Bad period '%1': seconds from 1 to 3600")
            .arg(QString::fromStdString(request.strPeriod));
    }
    pPlan->iPeriod = static_cast<int>(ulPeriod);
    return QString();
}

int RunWatch(const SCliInvocation& invocation)
{
    SWatchArgs args;
    const std::string strError = ParseArgs(invocation.args, &args);
    if (!strError.empty())
    {
        std::fprintf(stderr, "%s: %s\n", kCommand, strError.c_str());
        return CliUsage(kUsage);
    }
    uint64_t ulPolls = 0;
    uint64_t ulInterval = 0;
    if (!CliNumber(args.strPolls, 1000000u, &ulPolls) || ulPolls == 0 ||
        !CliNumber(args.strInterval, 3600000u, &ulInterval))
    {
        return CliUsage(kUsage);
    }

    CCollectingInterface messages;
    CNetworkDocument map;
    if (!LoadCommandMap(args.strMap, map))
    {
        return FailWith(messages,
                        QStringLiteral("Unable to read the map %1").arg(QString::fromStdString(args.strMap)));
    }
    std::vector<SWatchPlan> plans;
    for (const SWatchRequest& request : args.requests)
    {
        SWatchPlan plan;
        const QString strPlanError = PlanItem(map, request, &plan);
        messages.Messages.clear();
        if (!strPlanError.isEmpty())
        {
            return Fail(strPlanError);
        }
        plans.push_back(plan);
    }
    if (plans.empty() && map.WatchItems.empty())
    {
        return Fail(QStringLiteral("Nothing to watch: the map has no watch items and no --add was given"));
    }

    CliConnection connection = OpenMapTarget(map);
    if (!connection)
    {
        return FailWith(messages, QStringLiteral("Unable to open the target"));
    }
    IRegisterTransport& transport = TargetRegisterTransport();
    CWatchMonitor monitor(map, transport);
    monitor.onLogLine = [](const QString& strLine)
    { std::printf("%s\n", strLine.toLocal8Bit().constData()), std::fflush(stdout); };

    // The items given here replace the map's; each starts from the value it has now, as an item
    // added from the register editor starts from the value read there.
    if (!plans.empty())
    {
        map.WatchItems.clear();
    }
    for (const SWatchPlan& plan : plans)
    {
        const int i =
            monitor.AddWatch(map.ActivePEs.GetIndexOf(plan.pPE),
                             plan.pPE->bUsesDestID ? plan.pPE->GetDestID() : uint16_t(0xFFFF), plan.RegName,
                             plan.uOffset, plan.BFName, plan.iNumBits, plan.iLast, plan.iFirst, 0);
        WatchItem& item = map.WatchItems[static_cast<size_t>(i)];
        item.eType = plan.eType;
        item.uParam1 = plan.uX1;
        item.uParam2 = plan.uX2;
        item.eAction = plan.eAction;
        item.eLog = plan.eLog;
        item.iUpdatePeriod = plan.iPeriod;
    }
    int iLongest = 1;
    for (int i = 0; i < monitor.Count(); ++i)
    {
        WatchItem& item = map.WatchItems[static_cast<size_t>(i)];
        uint32_t ulDestID = 0;
        uint8_t uchHop = 0;
        if (!monitor.FindItemRoute(i, &ulDestID, &uchHop))
        {
            const CPEPrimitive* pPE = map.ActivePEs.GetByIndex(item.iPEID);
            return Fail(QStringLiteral("Watch item %1 disabled.  Must synchronize routing tables.\n"
                                       "The map's routing tables lead to no route from the host to Node %2.")
                            .arg(i + 1)
                            .arg(pPE ? pPE->iNodeNumber + 1 : item.iPEID + 1));
        }
        if (i < static_cast<int>(plans.size()))
        {
            uint32_t ulWord = 0;
            const int32_t nStatus = transport.MaintRead(ulDestID, uchHop, item.uRegOffset, &ulWord);
            if (nStatus != 0)
            {
                return Fail(QStringLiteral("Watch item %1 disabled due to RapidIO error %2\n%3")
                                .arg(i + 1)
                                .arg(nStatus)
                                .arg(RioErrorText(nStatus)));
            }
            item.uOldValue = item.uNewValue = WatchFieldValue(ulWord, item.iMSB, item.iLSB);
        }
        if (!monitor.SetEnabled(i, true))
        {
            return FailWith(messages, QStringLiteral("Unable to enable watch item %1").arg(i + 1));
        }
        iLongest = std::max(iLongest, item.iUpdatePeriod);
    }

    // The slowest item is polled N times; a tick stands for the window's second.
    const uint64_t ulTicks = ulPolls * static_cast<uint64_t>(iLongest);
    for (uint64_t t = 0; t < ulTicks; ++t)
    {
        if (t > 0 && ulInterval > 0)
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(ulInterval));
        }
        monitor.Tick();
    }

    int iExit = 0;
    for (int i = 0; i < monitor.Count(); ++i)
    {
        const WatchItem& item = map.WatchItems[static_cast<size_t>(i)];
        const CPEPrimitive* pPE = map.ActivePEs.GetByIndex(item.iPEID);
        std::printf(
            "Item %d: Node %d %s %s = %s, %d event(s) of '%s'%s\n", i + 1,
            pPE ? pPE->iNodeNumber + 1 : item.iPEID + 1, qPrintable(item.RegName), qPrintable(item.BFName),
            qPrintable(WatchValueText(item.uNewValue, item.iNumBits, CWatchMonitor::DisplayBase(), true)),
            item.iNumEvents, qPrintable(TriggerText(item, CWatchMonitor::DisplayBase())),
            item.bEnabled ? "" : ", stopped");
        if (!item.bEnabled)
        {
            iExit = kExitError;
        }
    }
    if (iExit != 0)
    {
        // The reasons stand in the log; the last of them for each stopped item goes to stderr too.
        for (const QString& strLine : monitor.LogLines())
        {
            if (strLine.startsWith(QStringLiteral("Watch item ")))
            {
                PrintError(strLine);
            }
        }
    }
    for (const QString& strMessage : messages.Messages)
    {
        PrintError(strMessage);
    }
    messages.Messages.clear();
    if (!args.strLog.empty() && !monitor.SaveLog(QString::fromStdString(args.strLog)))
    {
        return FailWith(messages, QStringLiteral("Unable to write the log"));
    }
    if (!args.strSave.empty())
    {
        connection.reset();
        if (!map.SaveAs(QString::fromStdString(args.strSave)))
        {
            return FailWith(
                messages,
                QStringLiteral("Unable to save the map to %1").arg(QString::fromStdString(args.strSave)));
        }
    }
    return iExit;
}
} // namespace

extern const SCliCommand g_aWatchCommands[] = {
    {"watch", "MAP [--add NODE REGISTER [FIELD] [--trigger SPEC] ...]... [--polls N] [--log FILE]", RunWatch},
    {nullptr, nullptr, nullptr},
};

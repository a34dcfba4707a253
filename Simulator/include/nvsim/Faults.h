// Fault injection. Two kinds:
//  - reply faults (CFaults): the server mangles, delays or withholds its replies, to test how
//    the client copes with a broken or hostile server;
//  - fabric faults: links down, lost responses, slow links, mute devices, port errors, ackIDs
//    out of step and locks held by another host, to test how the client copes with a broken
//    network. They live in the fabric itself (CSimLink, CSimDevice).
// Both can be written as text, as norvanta-sim's --fault option takes them:
//   KIND[:KEY=VALUE[,KEY=VALUE...]]
// Simulator/README.md lists the kinds and their keys.
#pragma once

#include "nvsim/Fabric.h"

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace nvsim
{
enum class EReplyFault
{
    Drop,      // no reply at all
    BadLength, // header Length off by llValue (1 if 0)
    BadEcho,   // the first echoed field the client checks is off by one (DestID + 1, ...)
    BadId,     // reply MessageID llValue (the right one + 2 if 0)
    Partial,   // only the first llValue bytes (10 if 0), then the connection stalls for good
    Garbage,   // llValue bytes of garbage (16 if 0) instead of the reply
    Close,     // the connection is closed instead of replying
    Delay,     // the reply goes llValue milliseconds late
    Status     // a maintenance read answers with Status llValue, data still there
};

// One rule: the next ulCount replies to requests of ulMessageId suffer eKind.
struct SReplyFault
{
    EReplyFault eKind = EReplyFault::Drop;
    uint32_t ulCount = 1;     // replies it affects; 0 = every one from now on
    uint32_t ulMessageId = 0; // request MessageID it waits for; 0 = any request
    int64_t llValue = 0;      // kind-specific value, see EReplyFault
};

// The rules in force on a server. Thread-safe: tests add rules while the server runs.
class CFaults
{
public:
    // Adds a rule; rules are tried in the order they were added, one applies per reply.
    void Add(const SReplyFault& fault);
    // Removes every rule.
    void Clear();
    // Rules still in force.
    size_t Pending() const;

    // Shorthands for the common rules.
    void DropReplies(uint32_t ulCount, uint32_t ulMessageId = 0)
    {
        Add({EReplyFault::Drop, ulCount, ulMessageId, 0});
    }
    void DelayReplies(uint32_t ulMs, uint32_t ulCount = 1, uint32_t ulMessageId = 0)
    {
        Add({EReplyFault::Delay, ulCount, ulMessageId, ulMs});
    }
    // Never answers NVT_IDENTIFYEX (33).
    void NeverAnswerIdentifyEx() { Add({EReplyFault::Drop, 0, 33, 0}); }
    // The next ulCount maintenance reads answer with nStatus but still carry their data.
    void MaintReadStatus(int32_t nStatus, uint32_t ulCount = 1)
    {
        Add({EReplyFault::Status, ulCount, 3, nStatus});
    }

    // For the server: the rule that applies to the reply to a request of ulRequestId, taken
    // (its count goes down). bHasEcho says whether the reply echoes fields the client checks;
    // a BadEcho rule waits for one that does, a Status rule for a maintenance read.
    std::optional<SReplyFault> Take(uint32_t ulRequestId, bool bHasEcho);

private:
    mutable std::mutex m_mutex;
    std::vector<SReplyFault> m_rules;
};

// Parses a reply fault; false with *pError if the text is not one.
bool ParseReplyFault(const std::string& strSpec, SReplyFault* pFault, std::string* pError);
// Applies a fabric fault to the fabric; false with *pError if the text is not one or names
// a device, port or link that does not exist.
bool ApplyFabricFault(const std::string& strSpec, CSimFabric& fabric, std::string* pError);
// Either of the two, as norvanta-sim's --fault takes them.
bool ApplyFaultSpec(const std::string& strSpec, CSimFabric& fabric, CFaults& faults, std::string* pError);
} // namespace nvsim

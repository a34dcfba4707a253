// What the GUI tests share: the application object, made once per process under the offscreen
// platform, and small builders of maps.
#pragma once

#include "NetworkDocument.h"

#include <QString>

#include <cstdint>
#include <functional>

class CMainFrame;

namespace nvguitest
{
// Adds a PE and its node in the expanded view; returns the node's unique ID.
uint32_t AddPE(CNetworkDocument& document, int iNode, uint16_t wVendor, uint16_t wDevice, uint32_t uType,
               int iX, int iY, int iPorts = 1);
// Adds a connection and its edge between two PEs' nodes; returns the edge's unique ID.
uint32_t AddLink(CNetworkDocument& document, int iConnection, int iPE1, int iPort1, int iPE2, int iPort2,
                 const QString& strStatus = QStringLiteral("Up"));
// Processes pending events until the condition holds or the time runs out.
bool WaitFor(const std::function<bool()>& condition, int iMilliseconds = 20000);
// Link settings afresh from the preferences, pointed at a simulator's TCP port on loopback, with
// a wait for answers short enough for a test.
void PointLinkAtSimulator(uint16_t wTcpPort);
// Answers the window's connect command with a server on 127.0.0.1 over TCP (the port is the link
// settings', see PointLinkAtSimulator).
void AnswerConnectWithLoopbackServer(CMainFrame& frame);
} // namespace nvguitest

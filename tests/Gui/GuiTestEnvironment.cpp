#include "GuiTestEnvironment.h"

#include "DrawObjects.h"
#include "LinkSettings.h"
#include "MainFrame.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QThread>

#include <gtest/gtest.h>

namespace
{
// The application object of the test process. It is made once the test main has given the
// process its private home, so the preference store of the tests never touches the user's.
class CQtEnvironment : public testing::Environment
{
public:
    void SetUp() override
    {
        static int s_argc = 1;
        static char s_name[] = "nv_test_gui";
        static char* s_argv[] = {s_name, nullptr};
        m_pApplication = std::make_unique<QApplication>(s_argc, s_argv);
    }
    void TearDown() override { m_pApplication.reset(); }

private:
    std::unique_ptr<QApplication> m_pApplication;
};

[[maybe_unused]] testing::Environment* const g_pEnvironment =
    testing::AddGlobalTestEnvironment(new CQtEnvironment);
} // namespace

namespace nvguitest
{
uint32_t AddPE(CNetworkDocument& document, int iNode, uint16_t wVendor, uint16_t wDevice, uint32_t uType,
               int iX, int iY, int iPorts)
{
    auto pPE = std::make_unique<CPEPrimitive>();
    pPE->iNodeNumber = iNode;
    pPE->SetIdentity(wVendor, wDevice, uType & kPETypeSwitch, uType & kPETypeProcessor, uType & kPETypeMemory,
                     uType & kPETypeBridge);
    pPE->ManufID = wVendor;
    pPE->DeviceID = wDevice;
    pPE->uType = uType;
    pPE->iNumLocalPorts = iPorts;
    pPE->bUsesDestID = !(uType & (kPETypeSwitch | kPETypeNull));
    pPE->ShortDestID = pPE->bUsesDestID ? static_cast<uint16_t>(0x10 + iNode) : kNoDestID;
    auto pNode = std::make_unique<CDrawPE>();
    pNode->uUniqueID = 1000 + static_cast<uint32_t>(iNode);
    pNode->iAssociatedPrimitive = iNode;
    pNode->BitmapNoSel = pPE->BitmapNoSel;
    pNode->BitmapSel = pPE->BitmapSel;
    pNode->Move(iX, iY);
    const uint32_t uID = pNode->uUniqueID;
    document.FindView(kExpandedViewID)->pNodes.Add(std::move(pNode));
    document.ActivePEs.AddPrimitive(std::move(pPE));
    return uID;
}

uint32_t AddLink(CNetworkDocument& document, int iConnection, int iPE1, int iPort1, int iPE2, int iPort2,
                 const QString& strStatus)
{
    auto pConnection = std::make_unique<CConnectionPrimitive>();
    pConnection->iNodeNumber = iConnection;
    pConnection->iPE1 = iPE1;
    pConnection->iPE1Port = iPort1;
    pConnection->iPE2 = iPE2;
    pConnection->iPE2Port = iPort2;
    pConnection->SetStatus(strStatus);
    document.ActiveConnections.AddPrimitive(std::move(pConnection));
    auto pEdge = std::make_unique<CDrawPEConn>();
    pEdge->uUniqueID = 5000 + static_cast<uint32_t>(iConnection);
    pEdge->iAssociatedPrimitive = iConnection;
    pEdge->eStartKind = eDrawKindPE;
    pEdge->uStartUniqueID = 1000 + static_cast<uint32_t>(iPE1);
    pEdge->eEndKind = eDrawKindPE;
    pEdge->uEndUniqueID = 1000 + static_cast<uint32_t>(iPE2);
    const uint32_t uID = pEdge->uUniqueID;
    document.FindView(kExpandedViewID)->pEdges.Add(std::move(pEdge));
    return uID;
}

bool WaitFor(const std::function<bool()>& condition, int iMilliseconds)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition())
    {
        if (timer.elapsed() > iMilliseconds)
        {
            return false;
        }
        QApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(2);
    }
    return true;
}

void PointLinkAtSimulator(uint16_t wTcpPort)
{
    ReloadLinkSettings();
    LinkSettings().wServerPort = wTcpPort;
    LinkSettings().ulWaitMilliseconds = 3000;
}

void AnswerConnectWithLoopbackServer(CMainFrame& frame)
{
    frame.SetConnectionChooser(
        [](int32_t* pnChoice, uint32_t* pulAddress)
        {
            *pnChoice = eConnInternetTCP;
            *pulAddress = 0x7F000001u; // 127.0.0.1
            return true;
        });
}
} // namespace nvguitest

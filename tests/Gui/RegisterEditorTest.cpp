// The register editor, the browser's register commands and Find Registers, on the in-process
// simulated demo fabric: the host endpoint (with a register file of the tests' own) and the
// CPS-1848 switches of the demo (with the library's register file).
#include "GuiTestEnvironment.h"

#include "DefaultSettings.h"
#include "DeviceInfo.h"
#include "FindRegisterDlg.h"
#include "HalTestHooks.h"
#include "MainFrame.h"
#include "ModuleLibrary.h"
#include "NVXLHal.h"
#include "NetBrowserDlgBar.h"
#include "Preferences.h"
#include "RecordingUserInterface.h"
#include "RegisterDlg.h"
#include "RegisterInfoCache.h"
#include "RegisterTree.h"
#include "RegisterValueList.h"
#include "SimTransport.h"
#include "TestSupport.h"
#include "TriggerDlg.h"
#include "WatchWnd.h"
#include "nvsim/Topology.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QScrollArea>
#include <QTableWidget>
#include <QTest>
#include <QTimer>
#include <QTreeWidget>

#include <set>

#include <gtest/gtest.h>

namespace
{
using namespace RegisterPage;

constexpr uint32_t kHostID = 0xFFFFFFFFu; // the host's own device
constexpr int kHost = 0;
constexpr int kSwitch1 = 1;
constexpr int kSwitch2 = 2;

// Register access straight on the simulated fabric, as the target's front end would carry it out.
// Every maintenance write is kept.
class CFabricRegisterTransport final : public IRegisterTransport
{
public:
    explicit CFabricRegisterTransport(nvsim::CSimFabric& fabric) : m_fabric(fabric) {}

    bool IsOpen() override { return bOpen; }
    int32_t MaintRead(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t* pulValue) override
    {
        return m_fabric.MaintRead(0, ulDestID, uchHop, ulOffset, pulValue, 1, 4, 4, false);
    }
    int32_t MaintWrite(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t ulValue) override
    {
        writes << QString::asprintf("%X %u %X %08X", ulDestID, uchHop, ulOffset, ulValue);
        return m_fabric.MaintWrite(0, ulDestID, uchHop, ulOffset, &ulValue, 1, 4, 4, false);
    }
    int32_t NRead(uint32_t ulDestID, uint64_t ulAddress, uint32_t* pulValue) override
    {
        uint8_t abData[4] = {};
        const int32_t nStatus = m_fabric.DataRead(0, ulDestID, static_cast<uint32_t>(ulAddress >> 32),
                                                  static_cast<uint32_t>(ulAddress), abData, 4, false);
        *pulValue =
            uint32_t(abData[0]) << 24 | uint32_t(abData[1]) << 16 | uint32_t(abData[2]) << 8 | abData[3];
        return nStatus;
    }
    int32_t NWrite(uint32_t ulDestID, uint64_t ulAddress, uint32_t ulValue) override
    {
        const uint8_t abData[4] = {uint8_t(ulValue >> 24), uint8_t(ulValue >> 16), uint8_t(ulValue >> 8),
                                   uint8_t(ulValue)};
        return m_fabric.DataWrite(0, ulDestID, static_cast<uint32_t>(ulAddress >> 32),
                                  static_cast<uint32_t>(ulAddress), 2, abData, 4, false);
    }
    int32_t LocalRead(uint64_t ulAddress, uint32_t* pulValue) override
    {
        uint8_t abData[4] = {};
        const int32_t nStatus = m_fabric.MemRead(ulAddress, 1, 4, abData);
        *pulValue =
            uint32_t(abData[0]) << 24 | uint32_t(abData[1]) << 16 | uint32_t(abData[2]) << 8 | abData[3];
        return nStatus;
    }
    int32_t LocalWrite(uint64_t ulAddress, uint32_t ulValue) override
    {
        localWrites << QString::asprintf("%llX %08X", static_cast<unsigned long long>(ulAddress), ulValue);
        const uint8_t abData[4] = {uint8_t(ulValue >> 24), uint8_t(ulValue >> 16), uint8_t(ulValue >> 8),
                                   uint8_t(ulValue)};
        return m_fabric.MemWrite(ulAddress, 1, 4, abData);
    }
    int32_t I2CRead(uint32_t, uint8_t, uint32_t, uint32_t, uint8_t*) override { return -1; }
    int32_t I2CWrite(uint32_t, uint8_t, uint32_t, uint32_t, uint8_t) override { return -1; }
    QString RioErrorDetail() override { return QString(); }

    // What the fabric holds at a register now.
    uint32_t Read(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset)
    {
        uint32_t ulValue = 0;
        EXPECT_EQ(0, MaintRead(ulDestID, uchHop, ulOffset, &ulValue));
        return ulValue;
    }

    bool bOpen = true;
    QStringList writes;
    QStringList localWrites;

private:
    nvsim::CSimFabric& m_fabric;
};

// The host's register file: a CAR, a register of four fields (one with value names) and reserved
// bits, a byte-wide register numbered from the least significant bit, and a word in I/O space.
const QByteArray kHostRegisterFile = QByteArray(R"(<?xml version="1.0"?>
<NorvantaMemoryMap Version="1.3">
<RegisterBlock Name="Test Registers">
  <RegisterSets></RegisterSets>
  <RegisterList>
    <Register><ByteOffset>0x0</ByteOffset><Name>Device Identity CAR</Name><BitFieldList>
      <BitField><Name>DeviceIdentity</Name><Bits>0:15</Bits><Access>R</Access></BitField>
      <BitField><Name>DeviceVendorIdentity</Name><Bits>16:31</Bits><Access>R</Access></BitField>
    </BitFieldList></Register>
    <Register><ByteOffset>0x6C</ByteOffset><Name>Component Tag CSR</Name><BitFieldList>
      <BitField><Name>Tag High</Name><Bits>0:15</Bits><Access>RW</Access></BitField>
      <BitField><Name>Tag Mode</Name><Bits>16:19</Bits><Access>RW</Access>
        <ValueList><Value>0=Off</Value><Value>1=Slow</Value><Value>10=Fast</Value></ValueList></BitField>
      <BitField><Name>Tag Flag</Name><Bits>20</Bits><Access>RW</Access></BitField>
      <BitField><Name>Tag Low</Name><Bits>24:31</Bits><Access>RW</Access><Color>0x00FF00</Color></BitField>
    </BitFieldList></Register>
  </RegisterList>
</RegisterBlock>
<RegisterBlock Name="Byte Registers" NumRegisterBits="8" BitOrder="MSB_Hi">
  <RegisterSets></RegisterSets>
  <RegisterList>
    <Register><ByteOffset>0x60</ByteOffset><Name>Small ID</Name><BitFieldList>
      <BitField><Name>Upper</Name><Bits>7:4</Bits><Access>RW</Access></BitField>
      <BitField><Name>Lower</Name><Bits>3:0</Bits><Access>RW</Access></BitField>
    </BitFieldList></Register>
  </RegisterList>
</RegisterBlock>
)") + nvtest::kIOSpaceRegisterBlock + "</NorvantaMemoryMap>\n";

class RegisterEditorTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        HalInitialize();
        HalRegisterDeviceFamilies();
        HalSetSleepHook([](uint32_t) {});
        std::string strError;
        m_pFabric =
            nvsim::LoadTopologyFile(nvtest::SourceDir() + "/Simulator/topologies/demo.topo", &strError);
        ASSERT_TRUE(m_pFabric) << strError;
        m_pSimTransport = std::make_unique<nvtest::CSimTransport>(*m_pFabric);
        m_pSimTransport->Install();
        m_pTransport = std::make_unique<CFabricRegisterTransport>(*m_pFabric);
        SetShellRegisterTransport(m_pTransport.get());

        // A register library of the switch's file and the host's own.
        m_strModules = nvtest::UseScratchModuleDir(QStringLiteral("editor-modules"));
        const QString strLibrary = QString::fromStdString(nvtest::SourceDir()) + QStringLiteral("/Modules/");
        for (const char* pszFile : {"0_03740038.nvr", "0_03740038.nvi"})
        {
            ASSERT_TRUE(QFile::copy(strLibrary + pszFile, m_strModules + "/" + pszFile));
        }
        WriteModule("0_0001FFF0.nvr", kHostRegisterFile);
        WriteModule("0_0001FFF0.nvi",
                    nvtest::DeviceInfoText("ep", "Test Host", "P",
                                           "<TOCEntry Type=\"Register\">Test Registers</TOCEntry>"
                                           "<TOCEntry Type=\"Register\">Byte Registers</TOCEntry>"
                                           "<TOCEntry Type=\"Register\">Mailbox</TOCEntry>"));
        SetQuestionState(QStringLiteral("UploadEditRegs"), eQuestionAsk);
        SetQuestionState(QStringLiteral("LoadRegisters"), eQuestionAsk);

        m_pFrame = std::make_unique<CMainFrame>();
        m_pUI = std::make_unique<nvtest::CRecordingUserInterface>();
        CNetworkDocument& document = Document();
        nvguitest::AddPE(document, kHost, 0xFFF0, 0x0001, kPETypeProcessor | kPETypeMemory, 100, 150);
        nvguitest::AddPE(document, kSwitch1, 0x0038, 0x0374, kPETypeSwitch, 300, 150, 18);
        nvguitest::AddPE(document, kSwitch2, 0x0038, 0x0374, kPETypeSwitch, 500, 150, 18);
        nvguitest::AddLink(document, 0, kHost, 0, kSwitch1, 0);
        nvguitest::AddLink(document, 1, kSwitch1, 4, kSwitch2, 4);
        PE(kHost).bHasHostLink = true;
        PE(kHost).bHostLinkOpen = true;
        PE(kHost).ShortDestID = 0x01;
        m_pFrame->Core().NotifyMap();
    }
    void TearDown() override
    {
        m_pFrame.reset();
        m_pUI.reset();
        SetShellRegisterTransport(nullptr);
        m_pSimTransport.reset();
        HalSetSleepHook(nullptr);
        HalInitialize();
        GetRegisterInfoCache().Clear();
        ClearPreferenceOverrides();
    }

    void WriteModule(const char* pszName, const QByteArray& text) const
    {
        nvtest::WriteModuleFile(m_strModules, QLatin1String(pszName), text);
    }
    CNetworkDocument& Document() { return m_pFrame->Core().Document(); }
    CPEPrimitive& PE(int iNode) { return *Document().pCurrentPEs->GetByNodeNumber(iNode); }
    // The position in a PE's register tree of a register, by name (the first of several sets).
    int TreeIndex(int iNode, const QString& strName)
    {
        const std::vector<SRegisterTreeItem> items = RegisterTreeItems(*RegisterFileOf(PE(iNode)));
        for (size_t i = 0; i < items.size(); ++i)
        {
            if (items[i].eKind == eTreeRegister && items[i].pRegister->Name == strName)
            {
                return static_cast<int>(i);
            }
        }
        ADD_FAILURE() << "no register " << strName.toStdString();
        return -1;
    }
    // An editor with the host's "Test Registers" (the identity and the tag register), read from
    // the fabric.
    std::unique_ptr<CRegisterDlg> HostEditor(uint32_t ulTag)
    {
        EXPECT_EQ(0, m_pTransport->MaintWrite(kHostID, 0, 0x6C, ulTag));
        m_pTransport->writes.clear();
        auto pDialog = std::make_unique<CRegisterDlg>(Document());
        EXPECT_TRUE(pDialog->AddRegisters(PE(kHost), QStringLiteral("Test Registers"), -1, eTOCRegister));
        EXPECT_EQ(2u, pDialog->Items().size());
        m_pUI->questions.clear();
        pDialog->show();
        return pDialog;
    }
    // Clicks a field's box, types a text into the edit that opens and presses a key.
    void EditField(CRegisterDlg& dialog, int iItem, int iField, const QString& strText,
                   Qt::Key eKey = Qt::Key_Return)
    {
        QTest::mouseClick(dialog.View(), Qt::LeftButton, {},
                          dialog.View()->FieldTextRect(iItem, iField).center());
        ASSERT_TRUE(dialog.EditOpen());
        ASSERT_EQ(iField, dialog.EditField());
        dialog.EditLine()->clear();
        QTest::keyClicks(dialog.EditLine(), strText);
        QTest::keyClick(dialog.EditLine(), eKey);
    }

    std::unique_ptr<nvsim::CSimFabric> m_pFabric;
    std::unique_ptr<nvtest::CSimTransport> m_pSimTransport;
    std::unique_ptr<CFabricRegisterTransport> m_pTransport;
    std::unique_ptr<CMainFrame> m_pFrame;
    std::unique_ptr<nvtest::CRecordingUserInterface> m_pUI;
    QString m_strModules;
};

TEST_F(RegisterEditorTest, ThePageHasItsGeometry)
{
    auto pDialog = HostEditor(0x1234A578);
    ASSERT_TRUE(
        pDialog->AddRegisters(PE(kHost), QStringLiteral("Byte Registers"), -1, eTOCRegister, -1, false));
    const CRegisterChildView& view = *pDialog->View();
    EXPECT_EQ(910, view.width());
    // 36 and 50 for each eight bits; the page is as tall as its registers.
    EXPECT_EQ(236, view.ItemHeight(0));
    EXPECT_EQ(236, view.ItemHeight(1));
    EXPECT_EQ(86, view.ItemHeight(2));
    EXPECT_EQ(236, view.ItemTop(1));
    EXPECT_EQ(472, view.ItemTop(2));
    EXPECT_EQ(558, view.height());
    // A register collapsed to its title takes 20, and those below move up.
    pDialog->SetCollapsed(0, true);
    EXPECT_EQ(20, view.ItemHeight(0));
    EXPECT_EQ(20, view.ItemTop(1));
    EXPECT_EQ(342, view.height());
    EXPECT_TRUE(view.FieldRects(0, 0).empty());
    pDialog->SetCollapsed(0, false);

    // Field boxes: 100 a bit, eight bits a row, one box per row a field spans, below the row's bit
    // numbers; the bits sit in the middle of the page.
    const int iTop = view.ItemTop(1) + kHeaderHeight + kBitNumberHeight;
    const std::vector<QRect> high = view.FieldRects(1, 0); // bits 0:15
    ASSERT_EQ(2u, high.size());
    EXPECT_EQ(QRect(55, iTop, 800, 36), high[0]);
    EXPECT_EQ(QRect(55, iTop + 50, 800, 36), high[1]);
    EXPECT_EQ(std::vector<QRect>{QRect(55, iTop + 100, 400, 36)}, view.FieldRects(1, 1));  // 16:19
    EXPECT_EQ(std::vector<QRect>{QRect(455, iTop + 100, 100, 36)}, view.FieldRects(1, 2)); // 20
    EXPECT_EQ(std::vector<QRect>{QRect(55, iTop + 150, 800, 36)}, view.FieldRects(1, 3));  // 24:31
    EXPECT_EQ(QRect(655, iTop + 100, 100, 36), view.BitRect(1, 22)) << "a reserved bit";
    // A point of a box is that field; the title line and a reserved bit are no field.
    EXPECT_EQ(2, view.HitTest(QPoint(500, iTop + 110)).iField);
    EXPECT_EQ(1, view.HitTest(QPoint(500, iTop + 110)).iItem);
    EXPECT_EQ(-1, view.HitTest(QPoint(700, iTop + 110)).iField);
    EXPECT_TRUE(view.HitTest(QPoint(300, view.ItemTop(1) + 5)).bTitle);
    // No two fields' boxes overlap, and every box lies on the page.
    for (int iItem = 0; iItem < 3; ++iItem)
    {
        std::vector<QRect> all;
        for (int f = 0; f < pDialog->Items()[static_cast<size_t>(iItem)].pRegister->GetNumBitFields(); ++f)
        {
            for (const QRect& rect : view.FieldRects(iItem, f))
            {
                EXPECT_TRUE(view.ItemRect(iItem).contains(rect)) << iItem << "/" << f;
                for (const QRect& other : all)
                {
                    EXPECT_FALSE(rect.intersects(other)) << iItem << "/" << f;
                }
                all.push_back(rect);
            }
        }
    }
    // The scroll area shows the whole width of the page.
    EXPECT_GE(pDialog->ScrollArea()->viewport()->width(), 910);
}

TEST_F(RegisterEditorTest, EveryFieldNameOfTheSwitchFitsItsBox)
{
    SetQuestionState(QStringLiteral("UploadEditRegs"), eQuestionAlwaysNo);
    CRegisterDlg dialog(Document());
    const CRegisterFileInfo* pInfo = RegisterFileOf(PE(kSwitch1));
    ASSERT_NE(nullptr, pInfo);
    for (int b = 0; b < pInfo->GetNumBlocks(); ++b)
    {
        ASSERT_TRUE(dialog.AddRegisters(PE(kSwitch1), pInfo->GetBlock(b)->Name, 0, eTOCRegister, -1, b == 0));
    }
    ASSERT_GT(dialog.Items().size(), 100u);
    const CRegisterChildView& view = *dialog.View();
    int nShort = 0;
    for (int i = 0; i < static_cast<int>(dialog.Items().size()); ++i)
    {
        const CRegister& reg = *dialog.Items()[static_cast<size_t>(i)].pRegister;
        for (int f = 0; f < reg.GetNumBitFields(); ++f)
        {
            QFont font;
            const QString strLine = view.DrawnNameLine(i, f, &font);
            const QRect box = view.FieldTextRect(i, f);
            const QString strWhat = reg.Name + " / " + reg.GetBitField(f)->Name;
            // Inside the box, padding kept.
            EXPECT_LE(QFontMetrics(font).horizontalAdvance(strLine), box.width() - 8)
                << strWhat.toStdString();
            // The range goes before the name is cut, and a name is cut only where even the
            // smallest size can't hold it.
            const QString& strName = reg.GetBitField(f)->Name;
            if (!strLine.startsWith(strName))
            {
                QFont smallest = font;
                smallest.setPixelSize(9);
                EXPECT_GT(QFontMetrics(smallest).horizontalAdvance(strName), box.width() - 8)
                    << strWhat.toStdString();
            }
            if (box.width() >= 400)
            {
                EXPECT_EQ(view.FieldText(i, f).section('\n', 0, 0), strLine) << strWhat.toStdString();
            }
            nShort += strLine != view.FieldText(i, f).section('\n', 0, 0);
        }
    }
    EXPECT_GT(nShort, 0) << "some one-bit fields show their name alone";
}

TEST_F(RegisterEditorTest, TitlesAddressesAndFieldsReadInTheChosenBase)
{
    auto pDialog = HostEditor(0x1234A578);
    m_pUI->answers = {eAnswerYes, eAnswerNo};
    ASSERT_TRUE(
        pDialog->AddRegisters(PE(kHost), QStringLiteral("Byte Registers"), -1, eTOCRegister, -1, false));
    ASSERT_TRUE(pDialog->AddRegisters(PE(kHost), QStringLiteral("Mailbox"), 0, eTOCRegister, -1, false));
    const CRegisterChildView& view = *pDialog->View();
    EXPECT_EQ("Register Editor", pDialog->windowTitle().toStdString());
    EXPECT_EQ("Node 1", view.NodeText(1).toStdString());
    EXPECT_EQ("  Component Tag CSR", view.NameText(1).toStdString());
    EXPECT_EQ("= 0x1234A578", view.ValueText(1).toStdString());
    EXPECT_EQ("= 0x0001FFF0", view.ValueText(0).toStdString()) << "the demo host's identity, read on opening";
    EXPECT_EQ("Maintenance Offset: 0x6C", view.AddressText(1).toStdString());
    EXPECT_EQ("Register Address: 0x1010/0x200000010   ", view.AddressText(3).toStdString());
    EXPECT_EQ("Test Registers", pDialog->Items()[1].Name.toStdString());
    EXPECT_EQ("Mailbox,Box 1", pDialog->Items()[3].Name.toStdString());

    // Hexadecimal: a value of 2 or more has its tail, 0 and 1 have none.
    EXPECT_EQ("Tag High [00:15]\n1234h", view.FieldText(1, 0).toStdString());
    EXPECT_EQ("Tag Mode [16:19]\nAh", view.FieldText(1, 1).toStdString());
    EXPECT_EQ("Tag Flag [20:20]\n0", view.FieldText(1, 2).toStdString());
    EXPECT_EQ("Tag Low [24:31]\n78h", view.FieldText(1, 3).toStdString());
    pDialog->SetDisplayBase(10);
    EXPECT_EQ("Tag High [00:15]\n4660d", view.FieldText(1, 0).toStdString());
    EXPECT_EQ("Tag Low [24:31]\n120d", view.FieldText(1, 3).toStdString());
    EXPECT_TRUE(pDialog->BaseAction(10)->isChecked());
    pDialog->SetDisplayBase(2);
    EXPECT_EQ("Tag Mode [16:19]\n1010b", view.FieldText(1, 1).toStdString());
    EXPECT_EQ("Tag Low [24:31]\n1111000b", view.FieldText(1, 3).toStdString());
    // The base is the registers' own too.
    EXPECT_EQ(2u, pDialog->Items()[1].pRegister->eDisplayBase);
    EXPECT_TRUE(pDialog->BaseAction(2)->isChecked());
    EXPECT_FALSE(pDialog->BaseAction(16)->isChecked());

    // Bits are numbered as the register file numbers them: a file that counts from the least
    // significant bit has 7 on the left.
    EXPECT_EQ("0", view.BitNumberText(1, 0).toStdString());
    EXPECT_EQ("31", view.BitNumberText(1, 31).toStdString());
    EXPECT_EQ("7", view.BitNumberText(2, 0).toStdString());
    EXPECT_EQ("0", view.BitNumberText(2, 7).toStdString());
    EXPECT_EQ("Upper [07:04]\n", view.FieldText(2, 0).left(14).toStdString());
    EXPECT_EQ(std::vector<QRect>{view.BitRect(2, 0).united(view.BitRect(2, 3))}, view.FieldRects(2, 0));
    // A register without a value shows no value.
    EXPECT_EQ("", view.ValueText(3).toStdString());
    EXPECT_EQ("Word [00:31]\n", view.FieldText(3, 0).toStdString());
}

TEST_F(RegisterEditorTest, AFieldEditWritesOnlyItsBitsOverTheStoredValue)
{
    auto pDialog = HostEditor(0x1234A578);
    // The value names go into the combo, the one of the field's value picked.
    QTest::mouseClick(pDialog->View(), Qt::LeftButton, {}, pDialog->View()->FieldTextRect(1, 1).center());
    ASSERT_TRUE(pDialog->EditOpen());
    EXPECT_EQ("Ah", pDialog->EditLine()->text().toStdString());
    ASSERT_TRUE(pDialog->EditCombo()->isVisible());
    EXPECT_EQ(3, pDialog->EditCombo()->count());
    EXPECT_EQ("10=Fast", pDialog->EditCombo()->currentText().toStdString());
    // The edit and the combo lie over and under the field's box, on the page.
    const QRect box = pDialog->View()->FieldTextRect(1, 1);
    EXPECT_TRUE(box.contains(pDialog->EditLine()->geometry().center()));
    EXPECT_GE(pDialog->EditCombo()->y(), box.bottom());
    EXPECT_LE(pDialog->EditCombo()->geometry().right(), 910 - 55);
    // Choosing an entry puts its number in the edit.
    pDialog->EditCombo()->setCurrentIndex(1);
    emit pDialog->EditCombo()->activated(1);
    EXPECT_EQ("1", pDialog->EditLine()->text().toStdString());
    QTest::keyClick(pDialog->EditLine(), Qt::Key_Return);
    EXPECT_FALSE(pDialog->EditOpen());
    EXPECT_EQ(QStringList{"FFFFFFFF 0 6C 12341578"}, m_pTransport->writes);
    EXPECT_EQ(0x12341578u, m_pTransport->Read(kHostID, 0, 0x6C));
    const SRegisterValue* pStored = PE(kHost).SavedRegisters.Find(0x6C);
    ASSERT_NE(nullptr, pStored);
    EXPECT_EQ(0x12341578u, pStored->uValue);
    EXPECT_FALSE(pStored->bFlag) << "read back from the hardware";

    // "1010b" is binary in any display base: the field becomes 10.
    m_pTransport->writes.clear();
    EditField(*pDialog, 1, 1, QStringLiteral("1010b"));
    EXPECT_FALSE(pDialog->EditOpen());
    EXPECT_EQ(QStringList{"FFFFFFFF 0 6C 1234A578"}, m_pTransport->writes);

    // The other bits come from the stored value, not from a fresh read.
    m_pTransport->MaintWrite(kHostID, 0, 0x6C, 0xFFFFFFFF);
    m_pTransport->writes.clear();
    EditField(*pDialog, 1, 2, QStringLiteral("1"));
    EXPECT_EQ(QStringList{"FFFFFFFF 0 6C 1234AD78"}, m_pTransport->writes);
    EXPECT_EQ(0x1234AD78u, PE(kHost).SavedRegisters.Find(0x6C)->uValue);

    // A text that is no number for the field keeps the edit open and writes nothing; Escape then
    // drops it.
    m_pTransport->writes.clear();
    EditField(*pDialog, 1, 2, QStringLiteral("2"));
    EXPECT_TRUE(pDialog->EditOpen());
    EXPECT_EQ(QStringList{"Invalid data entry."}, m_pUI->messages);
    QTest::keyClick(pDialog->EditLine(), Qt::Key_Escape);
    EXPECT_FALSE(pDialog->EditOpen());
    EXPECT_FALSE(pDialog->EditLine()->isVisible());
    EXPECT_TRUE(pDialog->isVisible()) << "Escape closes the edit, not the window";
    EditField(*pDialog, 1, 3, QStringLiteral("55"), Qt::Key_Escape);
    EXPECT_FALSE(pDialog->EditOpen());
    EXPECT_TRUE(m_pTransport->writes.isEmpty());
    EXPECT_EQ(0x1234AD78u, PE(kHost).SavedRegisters.Find(0x6C)->uValue);

    // Read-only fields open no edit, unless the view allows it.
    QTest::mouseClick(pDialog->View(), Qt::LeftButton, {}, pDialog->View()->FieldTextRect(0, 0).center());
    EXPECT_FALSE(pDialog->EditOpen());
    pDialog->SetEditReadOnly(true);
    EXPECT_TRUE(pDialog->BeginEdit(0, 0));
    EXPECT_EQ("1", pDialog->EditLine()->text().toStdString()) << "device 0001h of the demo host";
    EXPECT_FALSE(pDialog->EditCombo()->isVisible()) << "a field without value names has no combo";
    pDialog->CancelEdit();
}

TEST_F(RegisterEditorTest, RecordingKeepsMaintenanceWritesWithOneHeaderPerTarget)
{
    auto pDialog = HostEditor(0x00000000);
    ASSERT_TRUE(pDialog->AddRegisters(PE(kSwitch1), QStringLiteral("Command and Status Registers (CSRs)"), -1,
                                      eTOCRegister, -1, false));
    ASSERT_TRUE(pDialog->AddRegisters(PE(kHost), QStringLiteral("Mailbox"), 0, eTOCRegister, -1, false));
    int iSwitchTag = -1;
    for (size_t i = 0; i < pDialog->Items().size(); ++i)
    {
        if (pDialog->Items()[i].pPE == &PE(kSwitch1) && pDialog->Items()[i].uOffset == 0x6C)
        {
            iSwitchTag = static_cast<int>(i);
        }
    }
    ASSERT_GE(iSwitchTag, 0);
    const int iMailbox = static_cast<int>(pDialog->Items().size()) - 1;
    m_pUI->questions.clear();
    m_pUI->messages.clear();

    pDialog->StartRecording();
    EXPECT_EQ("Register Editor - Recording", pDialog->windowTitle().toStdString());
    EditField(*pDialog, 1, 3, QStringLiteral("11h"));
    EditField(*pDialog, 1, 0, QStringLiteral("BEEFh"));
    EditField(*pDialog, iSwitchTag, 0, QStringLiteral("CAFEh"));
    EXPECT_EQ(0xCAFEu, m_pTransport->Read(0xFF, 0, 0x6C)) << "the switch was written through its hop";
    // A paused recording collects nothing.
    pDialog->PauseRecording();
    EXPECT_EQ("Register Editor - Recording Paused", pDialog->windowTitle().toStdString());
    EditField(*pDialog, iSwitchTag, 0, QStringLiteral("1"));
    pDialog->ResumeRecording();
    EXPECT_EQ("Register Editor - Recording", pDialog->windowTitle().toStdString());
    // Resuming on the same target adds no header.
    EditField(*pDialog, iSwitchTag, 0, QStringLiteral("2"));
    // A write in I/O space isn't recorded, though it reaches the hardware.
    EditField(*pDialog, iMailbox, 0, QStringLiteral("5"));
    EXPECT_EQ(QStringList{"1010 00000005"}, m_pTransport->localWrites);
    EXPECT_TRUE(m_pUI->messages.isEmpty()) << m_pUI->messages.join('|').toStdString();

    const QString strRecorded =
        QStringLiteral("// The following commands were recorded for DestID FFFFFFFFh, HopCount 0\r\n"
                       "w 6C 11\r\n"
                       "w 6C BEEF0011\r\n"
                       "// The following commands were recorded for DestID FFh, HopCount 0\r\n"
                       "w 6C CAFE\r\n"
                       "w 6C 2\r\n");
    EXPECT_EQ(strRecorded.toStdString(), pDialog->Access().RecordText().toStdString());
    // Stopping shows the record in its box.
    pDialog->StopRecording();
    EXPECT_EQ("Register Editor", pDialog->windowTitle().toStdString());
    EXPECT_EQ(QStringList{strRecorded}, m_pUI->messages);
    // The script editor gets it too, once there is one.
    QString strHanded;
    const CPEPrimitive* pHandedPE = nullptr;
    CRegisterDlg::SetScriptEditorOpener(
        [&strHanded, &pHandedPE](QWidget*, CPEPrimitive* pPE, const QString& strScript)
        {
            strHanded = strScript;
            pHandedPE = pPE;
        });
    pDialog->StartRecording();
    EditField(*pDialog, 1, 3, QStringLiteral("12h"));
    pDialog->StopRecording();
    CRegisterDlg::SetScriptEditorOpener(nullptr);
    EXPECT_EQ("// The following commands were recorded for DestID FFFFFFFFh, HopCount 0\r\nw 6C BEEF0012\r\n",
              strHanded.toStdString());
    EXPECT_EQ(pDialog->Items().front().pPE, pHandedPE);
    // A recording with nothing in it shows nothing.
    m_pUI->messages.clear();
    pDialog->StartRecording();
    pDialog->StopRecording();
    EXPECT_TRUE(m_pUI->messages.isEmpty());
}

TEST_F(RegisterEditorTest, OpeningAsksToUploadEachRegisterWhileALinkIsOpen)
{
    CRegisterDlg dialog(Document());
    m_pUI->answers = {eAnswerNo, eAnswerYes};
    ASSERT_TRUE(dialog.AddRegisters(PE(kHost), QStringLiteral("Test Registers"), -1, eTOCRegister));
    EXPECT_EQ(QStringList({"Upload this register?", "Upload this register?"}), m_pUI->questions);
    EXPECT_EQ(nullptr, dialog.StoredValue(0));
    ASSERT_NE(nullptr, dialog.StoredValue(1));
    EXPECT_FALSE(dialog.StoredValue(1)->bFlag);
    // Add to Watch needs a value first; a field goes with its own bits, the register as "<All>".
    std::vector<SWatchRequest> requests;
    QObject::connect(&dialog, &CRegisterDlg::watchRequested,
                     [&requests](const SWatchRequest& request) { requests.push_back(request); });
    dialog.AddToWatch(0, -1);
    EXPECT_EQ(QStringList({"Please upload the register first."}), m_pUI->messages);
    EXPECT_TRUE(requests.empty());
    dialog.AddToWatch(1, 2);
    dialog.AddToWatch(1, -1);
    ASSERT_EQ(2u, requests.size());
    EXPECT_EQ(QStringLiteral("Component Tag CSR"), requests[0].RegName);
    EXPECT_EQ(0x6Cu, requests[0].uOffset);
    EXPECT_EQ(QStringLiteral("Tag Flag"), requests[0].BFName);
    EXPECT_EQ(1, requests[0].iNumBits);
    EXPECT_EQ(20, requests[0].iFirst);
    EXPECT_EQ(20, requests[0].iLast);
    EXPECT_EQ(dialog.StoredValue(1)->uValue, requests[0].ulValue);
    EXPECT_EQ(0, requests[0].iPEID);
    EXPECT_EQ(0x01, requests[0].uDestID);
    EXPECT_EQ(QStringLiteral("<All>"), requests[1].BFName);
    EXPECT_EQ(32, requests[1].iNumBits);
    EXPECT_EQ(0, requests[1].iFirst);
    EXPECT_EQ(31, requests[1].iLast);

    // A question told not to come back takes its stored answer; without a link nothing is asked.
    m_pUI->questions.clear();
    SetQuestionState(QStringLiteral("UploadEditRegs"), eQuestionAlwaysNo);
    ASSERT_TRUE(dialog.AddRegisters(PE(kHost), QStringLiteral("Byte Registers"), -1, eTOCRegister));
    EXPECT_TRUE(m_pUI->questions.isEmpty());
    EXPECT_EQ(nullptr, dialog.StoredValue(0));
    SetQuestionState(QStringLiteral("UploadEditRegs"), eQuestionAsk);
    m_pTransport->bOpen = false;
    ASSERT_TRUE(dialog.AddRegisters(PE(kHost), QStringLiteral("Byte Registers"), -1, eTOCRegister));
    EXPECT_TRUE(m_pUI->questions.isEmpty());
    // Without a target an edit stays in the map, not yet confirmed.
    EXPECT_TRUE(dialog.BeginEdit(0, 1));
    QTest::keyClicks(dialog.EditLine(), QStringLiteral("9"));
    EXPECT_TRUE(dialog.CommitEdit());
    ASSERT_NE(nullptr, PE(kHost).SavedRegisters.Find(0x60));
    EXPECT_EQ(0x09u, PE(kHost).SavedRegisters.Find(0x60)->uValue);
    EXPECT_TRUE(PE(kHost).SavedRegisters.Find(0x60)->bFlag);
    EXPECT_TRUE(m_pTransport->writes.isEmpty());

    // A block that isn't in the file is an internal error.
    m_pUI->messages.clear();
    EXPECT_FALSE(dialog.AddRegisters(PE(kHost), QStringLiteral("No Such Block"), -1, eTOCRegister));
    EXPECT_EQ(QStringList{"Unable to find register block\n\n'No Such Block'"}, m_pUI->messages);
}

TEST_F(RegisterEditorTest, UploadAndDownloadOneAndAll)
{
    auto pDialog = HostEditor(0x11223344);
    m_pTransport->MaintWrite(kHostID, 0, 0x6C, 0x55667788);
    ASSERT_TRUE(pDialog->UploadRegister(1));
    EXPECT_EQ("= 0x55667788", pDialog->View()->ValueText(1).toStdString());
    // A value put in the map goes out and is read back.
    PE(kHost).SavedRegisters.SetValue(0x6C, 0xA0A0A0A0, true);
    m_pTransport->writes.clear();
    ASSERT_TRUE(pDialog->DownloadRegister(1));
    EXPECT_EQ(QStringList{"FFFFFFFF 0 6C A0A0A0A0"}, m_pTransport->writes);
    EXPECT_FALSE(PE(kHost).SavedRegisters.Find(0x6C)->bFlag);
    m_pTransport->MaintWrite(kHostID, 0, 0x6C, 0x01020304);
    EXPECT_EQ(2, pDialog->UploadAll());
    EXPECT_EQ(0x01020304u, PE(kHost).SavedRegisters.Find(0x6C)->uValue);
    EXPECT_TRUE(m_pUI->workLines.contains("Uploading register data.  Please wait..."));
}

TEST_F(RegisterEditorTest, GenerateReportWritesTheValuesOnShow)
{
    auto pDialog = HostEditor(0x11223344);
    const QString strDir =
        QString::fromStdString(nvtest::ProcessTempDir()) + QStringLiteral("/editor-report");
    SetPreferenceOverride(QStringLiteral("Directories"), QStringLiteral("RegReportDir"), strDir);
    QAction* pGenerate = nullptr;
    for (QAction* pAction : pDialog->findChildren<QAction*>())
    {
        pGenerate = pAction->text() == QLatin1String("Generate &Report...") ? pAction : pGenerate;
    }
    ASSERT_NE(nullptr, pGenerate);
    // Nothing read yet: nothing to report.
    PE(kHost).SavedRegisters.Clear();
    pGenerate->trigger();
    EXPECT_EQ(QStringList(QStringLiteral("There are no valid register values to report.")), m_pUI->messages);
    ASSERT_TRUE(pDialog->UploadRegister(1));
    pGenerate->trigger();
    ASSERT_EQ(1, m_pUI->openedDocuments.size());
    QFile page(m_pUI->openedDocuments[0]);
    ASSERT_TRUE(page.open(QIODevice::ReadOnly));
    EXPECT_TRUE(page.readAll().contains("<code>0x11223344</code>"));
    EXPECT_EQ(QFileInfo(strDir + QStringLiteral("/Output/Register Report.HTM")).absoluteFilePath(),
              m_pUI->openedDocuments[0]);
}

TEST_F(RegisterEditorTest, TheBrowserOpensTheEditorOnARegisterABlockOrEveryRegisterLikeIt)
{
    SetQuestionState(QStringLiteral("UploadEditRegs"), eQuestionAlwaysNo);
    CNetBrowserDlgBar& browser = *m_pFrame->Browser();
    ASSERT_NE(nullptr, browser.SelectRegisterPlace(kHost, TreeIndex(kHost, "Component Tag CSR")));
    // A double click on a register opens the editor on it.
    QTreeWidgetItem* pTag = browser.Tree()->currentItem();
    emit browser.Tree()->itemDoubleClicked(pTag, 0);
    ASSERT_NE(nullptr, m_pFrame->RegisterEditor());
    EXPECT_TRUE(m_pFrame->RegisterEditor()->isVisible());
    ASSERT_EQ(1u, m_pFrame->RegisterEditor()->Items().size());
    EXPECT_EQ(0x6Cu, m_pFrame->RegisterEditor()->Items()[0].uOffset);
    // What the editor writes shows in the browser at once, and the map has changed.
    m_pFrame->Core().SetModified(false);
    CRegisterDlg& editor = *m_pFrame->RegisterEditor();
    ASSERT_TRUE(editor.BeginEdit(0, 3));
    editor.EditLine()->setText(QStringLiteral("5"));
    ASSERT_TRUE(editor.CommitEdit());
    ASSERT_NE(nullptr, browser.FindRegister(kHost, 0x6C));
    EXPECT_EQ("Component Tag CSR = 00000005h", browser.FindRegister(kHost, 0x6C)->text(0).toStdString());
    EXPECT_TRUE(m_pFrame->Core().IsModified());

    // Every register like the picked one: each port's on both switches, in node order.
    const int iPortStatus = TreeIndex(kSwitch1, "Port Error and Status CSR");
    ASSERT_NE(nullptr, browser.SelectRegisterPlace(kSwitch1, iPortStatus));
    m_pFrame->RunCommand(eCmdEditAllLikeThis);
    const std::vector<RegisterItem>& items = m_pFrame->RegisterEditor()->Items();
    ASSERT_EQ(36u, items.size());
    EXPECT_EQ(kSwitch1, items[0].iNodeNumber);
    EXPECT_EQ(0x158u, items[0].uOffset);
    EXPECT_EQ(0x178u, items[1].uOffset);
    EXPECT_EQ("LP-Serial Port Registers,Port 1", items[1].Name.toStdString());
    EXPECT_EQ(kSwitch2, items[18].iNodeNumber);

    // A block's title opens all its registers, of every set.
    const std::vector<SRegisterTreeItem> tree = RegisterTreeItems(*RegisterFileOf(PE(kSwitch1)));
    const SRegisterTreeItem& portItem = tree[static_cast<size_t>(iPortStatus)];
    int iBlockItem = iPortStatus;
    while (tree[static_cast<size_t>(iBlockItem)].eKind != eTreeBlock)
    {
        --iBlockItem;
    }
    ASSERT_NE(nullptr, browser.SelectRegisterPlace(kSwitch1, iBlockItem));
    m_pFrame->RunCommand(eCmdEditRegister);
    EXPECT_EQ(static_cast<size_t>(portItem.pBlock->GetNumRegisters() * portItem.pBlock->GetNumSets()),
              m_pFrame->RegisterEditor()->Items().size());

    // A new map takes the registers of the old one out of the editor.
    m_pFrame->Core().NewMap();
    EXPECT_TRUE(m_pFrame->RegisterEditor()->Items().empty());
}

TEST_F(RegisterEditorTest, BulkCommandsAskAboveFiftyRegisters)
{
    CNetBrowserDlgBar& browser = *m_pFrame->Browser();
    m_pFrame->RunCommand(eCmdDownloadRegisters);
    EXPECT_EQ(QStringList{"Nothing to download."}, m_pUI->messages);
    m_pUI->messages.clear();

    // Check the switch's first 51 registers, in tree order.
    ASSERT_NE(nullptr, browser.ExpandNode(kSwitch1));
    std::vector<QTreeWidgetItem*> registers;
    for (QTreeWidgetItemIterator it(browser.Tree()); *it; ++it)
    {
        if ((*it)->data(0, Qt::CheckStateRole).isValid())
        {
            registers.push_back(*it);
        }
    }
    ASSERT_GE(registers.size(), 51u);
    for (size_t i = 0; i < 50; ++i)
    {
        registers[i]->setCheckState(0, Qt::Checked);
    }
    // The values kept are those of the first 50 registers of the switch's register tree.
    std::set<uint32_t> offsets;
    size_t nTaken = 0;
    for (const SRegisterTreeItem& item : RegisterTreeItems(*RegisterFileOf(PE(kSwitch1))))
    {
        if (item.eKind == eTreeRegister && nTaken < 50)
        {
            offsets.insert(item.uOffset);
            ++nTaken;
        }
    }
    m_pFrame->RunCommand(eCmdUploadRegisters);
    EXPECT_TRUE(m_pUI->questions.isEmpty());
    EXPECT_TRUE(m_pUI->messages.isEmpty()) << m_pUI->messages.join('|').toStdString();
    EXPECT_EQ(static_cast<int>(offsets.size()), PE(kSwitch1).SavedRegisters.GetCount());
    ASSERT_NE(nullptr, PE(kSwitch1).SavedRegisters.Find(0x0));
    EXPECT_EQ(0x03740038u, PE(kSwitch1).SavedRegisters.Find(0x0)->uValue);

    // The tree was rebuilt with the values and keeps exactly the 50 checks: check the 51st and
    // say No to both commands.
    std::vector<QTreeWidgetItem*> rebuilt;
    for (QTreeWidgetItemIterator it(browser.Tree()); *it; ++it)
    {
        if ((*it)->data(0, Qt::CheckStateRole).isValid())
        {
            rebuilt.push_back(*it);
        }
    }
    ASSERT_EQ(registers.size(), rebuilt.size());
    EXPECT_EQ(50u, browser.GetCheckedRegisters().size());
    EXPECT_EQ(Qt::Checked, rebuilt[49]->checkState(0));
    rebuilt[50]->setCheckState(0, Qt::Checked);
    m_pUI->answers = {eAnswerNo, eAnswerNo};
    m_pFrame->RunCommand(eCmdUploadRegisters);
    m_pFrame->RunCommand(eCmdDownloadRegisters);
    EXPECT_EQ(QStringList({"Upload 51 registers?", "Download 51 registers?"}), m_pUI->questions);
    EXPECT_EQ(static_cast<int>(offsets.size()), PE(kSwitch1).SavedRegisters.GetCount());
    EXPECT_TRUE(m_pTransport->writes.isEmpty());

    // Download writes the value kept and reads it back; a register without one is left alone.
    for (QTreeWidgetItem* pItem : rebuilt)
    {
        pItem->setCheckState(0, Qt::Unchecked);
    }
    browser.FindRegister(kSwitch1, 0x6C)->setCheckState(0, Qt::Checked);
    PE(kSwitch1).SavedRegisters.SetValue(0x6C, 0x00C0FFEE, true);
    m_pUI->questions.clear();
    m_pFrame->RunCommand(eCmdDownloadRegisters);
    EXPECT_TRUE(m_pUI->questions.isEmpty());
    EXPECT_TRUE(m_pUI->messages.isEmpty()) << m_pUI->messages.join('|').toStdString();
    EXPECT_EQ(QStringList{"FF 0 6C 00C0FFEE"}, m_pTransport->writes);
    EXPECT_EQ(0x00C0FFEEu, m_pTransport->Read(0xFF, 0, 0x6C));
    EXPECT_FALSE(PE(kSwitch1).SavedRegisters.Find(0x6C)->bFlag);
    EXPECT_EQ(QStringList({"Upload Registers", "Download Registers"}),
              m_pUI->workTitles.mid(0, 1) + m_pUI->workTitles.mid(m_pUI->workTitles.size() - 1));
    EXPECT_TRUE(m_pUI->workLines.contains("Downloading register data.  Please wait..."));
}

TEST_F(RegisterEditorTest, BulkFailuresHaveTheBrowserForm)
{
    CNetBrowserDlgBar& browser = *m_pFrame->Browser();
    ASSERT_NE(nullptr, browser.ExpandNode(kHost));
    QTreeWidgetItem* pTag = browser.FindRegister(kHost, 0x6C);
    ASSERT_NE(nullptr, pTag);
    pTag->setCheckState(0, Qt::Checked);
    PE(kHost).SavedRegisters.SetValue(0x6C, 1, true);
    // The host answers nothing now.
    m_pFabric->Link("host0", 0)->SetTrained(false);
    m_pFrame->RunCommand(eCmdDownloadRegisters);
    m_pFrame->RunCommand(eCmdUploadRegisters);
    // The host's own registers don't need the link: both go through.
    EXPECT_TRUE(m_pUI->messages.isEmpty()) << m_pUI->messages.join('|').toStdString();
    // A switch beyond the dead link fails in the browser's form.
    ASSERT_NE(nullptr, browser.ExpandNode(kSwitch1));
    pTag->setCheckState(0, Qt::Unchecked);
    browser.FindRegister(kSwitch1, 0x6C)->setCheckState(0, Qt::Checked);
    m_pFrame->RunCommand(eCmdUploadRegisters);
    ASSERT_EQ(1, m_pUI->messages.size());
    EXPECT_TRUE(m_pUI->messages[0].startsWith("Error -")) << m_pUI->messages[0].toStdString();
    EXPECT_TRUE(
        m_pUI->messages[0].endsWith(" encountered when attempting to upload a register.\r\n\r\nThis error is "
                                    "often caused by invalid routing tables."))
        << m_pUI->messages[0].toStdString();
    PE(kSwitch1).SavedRegisters.SetValue(0x6C, 1, true);
    m_pFrame->RunCommand(eCmdDownloadRegisters);
    ASSERT_EQ(2, m_pUI->messages.size());
    EXPECT_TRUE(
        m_pUI->messages[1].contains(" encountered when attempting to write data to a register.\r\n\r\n"))
        << m_pUI->messages[1].toStdString();
    EXPECT_TRUE(PE(kSwitch1).SavedRegisters.Find(0x6C)->bFlag) << "the value stays as it was";
}

TEST_F(RegisterEditorTest, FindNextWalksTheTreeAndKeepsItsOptionsAndHistory)
{
    for (int i = 0; i < 12; ++i)
    {
        RemovePreference(QStringLiteral("Preferences"), QString::asprintf("FIND_REG_SearchString%02d", i));
    }
    CNetBrowserDlgBar& browser = *m_pFrame->Browser();
    CFindRegisterDlg dialog(&browser);
    SRegisterSearchOptions options;
    options.bSearchTitles = options.bSearchOffsets = options.bSearchBitfields = false;
    dialog.SetOptions(options);
    EXPECT_EQ("Match Case", dialog.OptionBox(0)->text().toStdString());
    EXPECT_EQ("Register Offsets (hex)", dialog.OptionBox(4)->text().toStdString());

    // Nothing picked: the first hit is the host's; the next is a switch's, never opened before.
    dialog.SearchCombo()->setEditText(QStringLiteral("component tag"));
    ASSERT_TRUE(dialog.FindNext()) << dialog.StatusLine()->text().toStdString();
    EXPECT_EQ("Found.", dialog.StatusLine()->text().toStdString());
    int iNode = -1;
    int iTree = -1;
    ASSERT_TRUE(browser.CurrentRegisterPlace(&iNode, &iTree));
    EXPECT_EQ(kHost, iNode);
    EXPECT_EQ(TreeIndex(kHost, "Component Tag CSR"), iTree);
    ASSERT_TRUE(dialog.FindNext());
    ASSERT_TRUE(browser.CurrentRegisterPlace(&iNode, &iTree));
    EXPECT_EQ(kSwitch1, iNode);
    EXPECT_EQ(TreeIndex(kSwitch1, "Component Tag CSR"), iTree);
    EXPECT_TRUE(browser.Tree()->currentItem()->text(0).startsWith("Component Tag CSR"));
    EXPECT_TRUE(browser.Tree()->currentItem()->parent()->isExpanded());
    ASSERT_TRUE(dialog.FindNext());
    ASSERT_TRUE(browser.CurrentRegisterPlace(&iNode, &iTree));
    EXPECT_EQ(kSwitch2, iNode);
    EXPECT_EQ(0, m_pUI->nBeeps);
    EXPECT_FALSE(dialog.FindNext());
    EXPECT_EQ("Not found.", dialog.StatusLine()->text().toStdString());
    EXPECT_EQ(1, m_pUI->nBeeps);
    // Case counts when asked to.
    browser.Tree()->setCurrentItem(nullptr);
    dialog.OptionBox(0)->setChecked(true);
    EXPECT_FALSE(dialog.FindNext());
    dialog.SearchCombo()->setEditText(QStringLiteral("Tag Mode"));
    dialog.OptionBox(5)->setChecked(true);
    ASSERT_TRUE(dialog.FindNext());
    ASSERT_TRUE(browser.CurrentRegisterPlace(&iNode, &iTree));
    EXPECT_EQ(TreeIndex(kHost, "Component Tag CSR"), iTree) << "found by its field";

    // All scopes off: nothing is searched, and the pick stays.
    for (int i = 2; i < 6; ++i)
    {
        dialog.OptionBox(i)->setChecked(false);
    }
    EXPECT_FALSE(dialog.FindNext());
    EXPECT_EQ("Nothing to search.", dialog.StatusLine()->text().toStdString());
    EXPECT_EQ(3, m_pUI->nBeeps);
    ASSERT_TRUE(browser.CurrentRegisterPlace(&iNode, &iTree));
    EXPECT_EQ(TreeIndex(kHost, "Component Tag CSR"), iTree);
    dialog.OptionBox(2)->setChecked(true);
    dialog.SearchCombo()->setEditText(QString());
    EXPECT_FALSE(dialog.FindNext());
    EXPECT_EQ("Enter a search string.", dialog.StatusLine()->text().toStdString());
    dialog.OptionBox(1)->setChecked(true);
    dialog.SearchCombo()->setEditText(QStringLiteral("(tag"));
    EXPECT_FALSE(dialog.FindNext());
    EXPECT_EQ(RegexErrorText(std::regex_constants::error_paren).toStdString(),
              dialog.StatusLine()->text().toStdString());

    // The options are kept for the next dialog.
    CFindRegisterDlg next(&browser);
    EXPECT_TRUE(next.Options().bMatchCase);
    EXPECT_TRUE(next.Options().bUseRegEx);
    EXPECT_TRUE(next.Options().bSearchRegNames);
    EXPECT_FALSE(next.Options().bSearchBitfields);
    EXPECT_EQ(QStringList({"(tag", "Tag Mode", "component tag"}), CFindRegisterDlg::StoredHistory());
    EXPECT_EQ("(tag", next.SearchCombo()->currentText().toStdString());

    // A text searched again moves to the top; the twelfth distinct one pushes the oldest out.
    next.OptionBox(1)->setChecked(false);
    next.SearchCombo()->setEditText(QStringLiteral("component tag"));
    next.FindNext();
    EXPECT_EQ(QStringList({"component tag", "(tag", "Tag Mode"}), CFindRegisterDlg::StoredHistory());
    for (int i = 1; i <= 9; ++i)
    {
        next.SearchCombo()->setEditText(QStringLiteral("text %1").arg(i));
        next.FindNext();
    }
    QStringList history = CFindRegisterDlg::StoredHistory();
    ASSERT_EQ(11, history.size());
    EXPECT_EQ("text 9", history.first().toStdString());
    EXPECT_EQ("(tag", history.last().toStdString()) << "eleven kept, oldest last";
    EXPECT_FALSE(history.contains("Tag Mode"));
    EXPECT_EQ(11, next.SearchCombo()->count());
    EXPECT_EQ("", GetPreference(QStringLiteral("Preferences"), QStringLiteral("FIND_REG_SearchString11"),
                                QStringLiteral("x"))
                      .toStdString());
    EXPECT_EQ(11, CFindRegisterDlg(&browser).SearchCombo()->count());
}

// Saving goes through the register-values window, tested with the script windows.
TEST_F(RegisterEditorTest, LoadRegistersWarnsThenWritesTheFileToThePE)
{
    SCommandContext host;
    host.iNode = kHost;
    const QString strDir = QString::fromStdString(nvtest::ProcessTempDir());

    // Loading warns first; No ends it before any file is asked for.
    QFile file(strDir + "/load.csv");
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("00006C,12345678\r\n");
    file.close();
    m_pUI->choices.clear();
    m_pUI->answers = {eAnswerNo};
    m_pFrame->RunCommand(eCmdLoadRegisters, host);
    EXPECT_EQ(QStringList{"You must ensure that the file you load is compatible with the PE that you have "
                          "selected."},
              m_pUI->questions.mid(m_pUI->questions.size() - 1));
    EXPECT_TRUE(m_pUI->choices.isEmpty());
    m_pUI->answers = {eAnswerYes};
    m_pUI->texts = {strDir + "/load.csv"};
    m_pFrame->RunCommand(eCmdLoadRegisters, host);
    EXPECT_EQ(QStringList{"Load Registers"}, m_pUI->choices);
    EXPECT_EQ(0x12345678u, m_pTransport->Read(kHostID, 0, 0x6C));
    EXPECT_EQ(0x12345678u, PE(kHost).SavedRegisters.Find(0x6C)->uValue);
    EXPECT_TRUE(PE(kHost).SavedRegisters.Find(0x6C)->bFlag);
    EXPECT_TRUE(m_pFrame->Core().IsModified());
    // The warning told not to come back is not shown again.
    SetQuestionState(QStringLiteral("LoadRegisters"), eQuestionAlwaysYes);
    m_pUI->questions.clear();
    m_pUI->texts = {strDir + "/load.csv"};
    m_pFrame->RunCommand(eCmdLoadRegisters, host);
    EXPECT_TRUE(m_pUI->questions.isEmpty());
}
} // namespace

// ---------------------------------------------------------------------------------------------
// The watch window, fed by the editor's Add to Watch and polling the host's own device.

namespace
{
// Width a cell needs to show its text unclipped: the text and the cell's margins (and the check
// box of the first column).
int NeededWidth(const QTableWidget& table, int iRow, int iColumn)
{
    const QTableWidgetItem* pCell = table.item(iRow, iColumn);
    const int iText = table.fontMetrics().horizontalAdvance(pCell ? pCell->text() : QString());
    return iText + (iColumn == 0 ? 20 : 6);
}
} // namespace

TEST_F(RegisterEditorTest, AddToWatchFillsTheWatchWindowWhosePollsFireTheTrigger)
{
    auto pEditor = HostEditor(0x12345678);
    CWatchDlg& window = m_pFrame->WatchWindow();
    QObject::connect(pEditor.get(), &CRegisterDlg::watchRequested, &window,
                     [&window](const SWatchRequest& request) { window.AddWatch(request); });
    EXPECT_TRUE(window.Timer()->isActive());
    EXPECT_EQ(1000, window.Timer()->interval());
    pEditor->AddToWatch(1, 3); // Tag Low, bits 24 to 31
    EXPECT_TRUE(window.isVisible());
    QTableWidget* pTable = window.Table();
    ASSERT_EQ(1, pTable->rowCount());
    const QStringList expected = {"1", "1",    "0001h", "Component Tag CSR", "Tag Low", "78", "BF Changes",
                                  "0", "None", "None",  "5 Seconds"};
    for (int c = 0; c < eWatchColCount; ++c)
    {
        EXPECT_EQ(expected[c], pTable->item(0, c)->text()) << "column " << c;
    }
    EXPECT_EQ(QStringLiteral("Updt Period"), pTable->horizontalHeaderItem(eWatchColPeriod)->text());
    EXPECT_EQ(Qt::Unchecked, pTable->item(0, 0)->checkState());
    EXPECT_TRUE(m_pFrame->Core().IsModified());

    // The check box enables the item; five ticks make a poll of the changed register.
    pTable->item(0, 0)->setCheckState(Qt::Checked);
    ASSERT_TRUE(Document().WatchItems[0].bEnabled);
    window.Monitor().SetAction(0, eWatchActionHighlightPE);
    window.Monitor().SetLog(0, eWatchLogTriggers);
    ASSERT_EQ(0, m_pTransport->MaintWrite(kHostID, 0, 0x6C, 0x123456A0));
    for (int t = 0; t < 4; ++t)
    {
        window.Monitor().Tick();
    }
    EXPECT_EQ(QStringLiteral("78"), pTable->item(0, eWatchColValue)->text()) << "not polled yet";
    window.Monitor().Tick();
    EXPECT_EQ(QStringLiteral("A0"), pTable->item(0, eWatchColValue)->text());
    EXPECT_EQ(QStringLiteral("1"), pTable->item(0, eWatchColEvents)->text());
    EXPECT_NE(pTable->item(0, eWatchColValue)->background(), QBrush()) << "the fired row is marked";
    EXPECT_TRUE(window.LogBox()->toPlainText().contains("Reg='Component Tag CSR' BF='Tag Low' Value=A0h "
                                                        "Trigger='BF Changes' #Event=1"))
        << window.LogBox()->toPlainText().toStdString();
    // Log > Generate Report writes the table and the log into the watch report directory and hands
    // the page to the desktop.
    const QString strReports = QString::fromStdString(nvtest::ProcessTempDir()) + "/watch-reports";
    QDir(strReports).removeRecursively();
    SetPreferenceOverride(QStringLiteral("Directories"), QStringLiteral("WWReportDir"), strReports);
    QAction* pGenerate = nullptr;
    for (QAction* pMenuAction : window.menuBar()->actions())
    {
        for (QAction* pAction : pMenuAction->menu() ? pMenuAction->menu()->actions() : QList<QAction*>())
        {
            pGenerate = pAction->text() == QStringLiteral("Generate Report") ? pAction : pGenerate;
        }
    }
    ASSERT_NE(nullptr, pGenerate);
    m_pUI->messages.clear();
    pGenerate->trigger();
    EXPECT_TRUE(m_pUI->messages.isEmpty()) << m_pUI->messages.join('\n').toStdString();
    ASSERT_EQ(1, m_pUI->openedDocuments.size());
    QFile page(m_pUI->openedDocuments.front());
    EXPECT_TRUE(page.fileName().startsWith(strReports + "/Output/"));
    ASSERT_TRUE(page.open(QIODevice::ReadOnly));
    const QString strPage = QString::fromUtf8(page.readAll());
    EXPECT_TRUE(strPage.contains("Component Tag CSR / Tag Low")) << "the item's row";
    EXPECT_TRUE(strPage.contains(">A0h<")) << "the logged poll's value";
    EXPECT_TRUE(strPage.contains(">5 Seconds<")) << "the item's period";

    CDrawPE* pNode = Document().pCurrentNodes->FindPENode(kHost);
    ASSERT_NE(nullptr, pNode);
    EXPECT_TRUE(pNode->bHighlighted);
    // Reset All Triggers of the View menu takes the highlight away.
    m_pFrame->RunCommand(eCmdResetAllTriggers);
    EXPECT_FALSE(pNode->bHighlighted);
    for (int t = 0; t < 5; ++t)
    {
        window.Monitor().Tick();
    }
    EXPECT_EQ(pTable->item(0, eWatchColValue)->background(), QBrush()) << "no change, no mark";

    // The pop-ups of the columns set what they show.
    std::unique_ptr<QMenu> pMenu = window.CellMenu(0, eWatchColPeriod);
    ASSERT_EQ(3, pMenu->actions().size());
    EXPECT_EQ(QStringLiteral("1 Seconds"), pMenu->actions()[2]->text());
    pMenu->actions()[2]->trigger();
    EXPECT_EQ(QStringLiteral("1 Seconds"), pTable->item(0, eWatchColPeriod)->text());
    pMenu = window.CellMenu(0, eWatchColAction);
    pMenu->actions()[3]->trigger();
    EXPECT_EQ(QStringLiteral("MessageBox"), pTable->item(0, eWatchColAction)->text());
    pMenu = window.CellMenu(0, eWatchColEvents);
    pMenu->actions()[0]->trigger();
    EXPECT_EQ(QStringLiteral("0"), pTable->item(0, eWatchColEvents)->text());

    // Every column shows its text whole, and the table fits the window's width.
    window.resize(1060, 420);
    for (int c = 0; c < eWatchColCount - 1; ++c)
    {
        EXPECT_GE(pTable->columnWidth(c), NeededWidth(*pTable, 0, c)) << "column " << c;
    }
    int iTotal = 0;
    for (int c = 0; c < eWatchColCount; ++c)
    {
        iTotal += pTable->columnWidth(c);
    }
    EXPECT_LE(iTotal, pTable->viewport()->width() + 1);
    window.grab().save(QString::fromStdString(nvtest::ProcessTempDir()) + "/watch-window.png");

    // Disconnecting stops the item.
    m_pTransport->bOpen = false;
    window.Monitor().Tick();
    EXPECT_EQ(Qt::Unchecked, pTable->item(0, 0)->checkState());
    m_pUI->messages.clear();
    pTable->item(0, 0)->setCheckState(Qt::Checked);
    EXPECT_EQ(Qt::Unchecked, pTable->item(0, 0)->checkState());
    EXPECT_EQ(QStringList({"You must be connected to the target system before you can enable a watch item."}),
              m_pUI->messages);
}

TEST_F(RegisterEditorTest, TheTriggerWindowReadsItsBoxesByTheNumberRule)
{
    WatchItem item;
    item.eType = eTriggerBetweenExclusive;
    item.uParam1 = 0x10;
    item.uParam2 = 0x20;
    std::vector<std::tuple<int, QString, QString>> accepted;
    bool bAccept = false;
    CTriggerDlg dialog(item, 16,
                       [&](int eType, const QString& strX1, const QString& strX2)
                       {
                           accepted.emplace_back(eType, strX1, strX2);
                           return bAccept;
                       });
    EXPECT_EQ(QStringLiteral("X1 < BF < X2"), dialog.TypeCombo()->currentText());
    EXPECT_EQ(11, dialog.TypeCombo()->count());
    EXPECT_EQ(QStringLiteral("10h"), dialog.X1Edit()->text()) << "shown with its tail, read back as hex";
    EXPECT_EQ(QStringLiteral("20h"), dialog.X2Edit()->text());
    EXPECT_TRUE(dialog.X2Edit()->isEnabled());
    dialog.TypeCombo()->setCurrentIndex(eTriggerEqualTo);
    EXPECT_TRUE(dialog.X1Edit()->isEnabled());
    EXPECT_FALSE(dialog.X2Edit()->isEnabled());
    dialog.TypeCombo()->setCurrentIndex(eTriggerChange);
    EXPECT_FALSE(dialog.X1Edit()->isEnabled());
    dialog.TypeCombo()->setCurrentIndex(eTriggerNotBetweenInclusive);
    dialog.show();
    dialog.grab().save(QString::fromStdString(nvtest::ProcessTempDir()) + "/trigger-dialog.png");
    // A refused entry keeps the window open; an accepted one closes it.
    dialog.accept();
    EXPECT_TRUE(dialog.isVisible());
    EXPECT_EQ(QDialog::Rejected, dialog.result());
    bAccept = true;
    dialog.X1Edit()->setText(QStringLiteral("5"));
    dialog.accept();
    EXPECT_FALSE(dialog.isVisible());
    EXPECT_EQ(QDialog::Accepted, dialog.result());
    ASSERT_EQ(2u, accepted.size());
    EXPECT_EQ(std::make_tuple(int(eTriggerNotBetweenInclusive), QString("5"), QString("20h")), accepted[1]);

    // In the watch window the monitor checks the entry: X1 must be below X2.
    CWatchDlg& window = m_pFrame->WatchWindow();
    SWatchRequest request;
    request.iPEID = 0;
    request.RegName = QStringLiteral("Component Tag CSR");
    request.uOffset = 0x6C;
    window.AddWatch(request);
    QTimer::singleShot(0, &window,
                       [this]
                       {
                           auto* pDialog = qobject_cast<CTriggerDlg*>(QApplication::activeModalWidget());
                           ASSERT_NE(nullptr, pDialog);
                           pDialog->TypeCombo()->setCurrentIndex(eTriggerBetweenInclusive);
                           pDialog->X1Edit()->setText(QStringLiteral("7"));
                           pDialog->X2Edit()->setText(QStringLiteral("7"));
                           pDialog->accept();
                           EXPECT_TRUE(pDialog->isVisible());
                           EXPECT_EQ(QStringList({"X2 must be larger than X1"}), m_pUI->messages);
                           pDialog->X2Edit()->setText(QStringLiteral("8"));
                           pDialog->accept();
                       });
    m_pUI->messages.clear();
    EXPECT_TRUE(window.EditTrigger(0));
    EXPECT_EQ(QStringLiteral("7 <= BF <= 8"), window.Table()->item(0, eWatchColTrigger)->text());
}

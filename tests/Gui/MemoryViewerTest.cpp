// The memory viewer on the demo fabric: what an endpoint's memory (by NREAD) and the server host's
// memory hold, shown in every word size and byte order; a word typed into the grid written back
// and read again; bad entries refused with nothing written; the statuses of opening and closing;
// "Edit Memory..." through its set-up dialog; and the grid's columns lined up.
#include "GuiTestEnvironment.h"

#include "ClientStatus.h"
#include "LinkSettings.h"
#include "MainFrame.h"
#include "MemoryViewerWnd.h"
#include "NumberText.h"
#include "RecordingUserInterface.h"
#include "SimProcess.h"
#include "TargetClient.h"
#include "TestSupport.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QSpinBox>
#include <QTableWidget>
#include <QTimer>

#include <gtest/gtest.h>

namespace
{
constexpr uint32_t kLoopback = 0x7F000001u;
constexpr int kEndpointNode = 7; // ep1 of the demo fabric, DestID 05h, with memory
constexpr int kSwitchNode = 8;   // a switch: no destination ID
constexpr uint64_t kAddress = 0x1000;
const QByteArray kPattern = QByteArray("Norvanta\x01\x02\x03\x04\xFE\xFF\x7F\x20", 16);

class MemoryViewerTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_sim.Ready()) << m_sim.ErrorOutput();
        nvguitest::PointLinkAtSimulator(m_sim.TcpPort());
        m_pFrame = std::make_unique<CMainFrame>();
        m_pUI = std::make_unique<nvtest::CRecordingUserInterface>();
        ASSERT_TRUE(Core().Connect(eConnInternetTCP, kLoopback)) << m_pUI->messages.join('|').toStdString();
        nvguitest::AddPE(Document(), kEndpointNode, 0xFFF0, 0x0001, kPETypeMemory, 300, 300);
        Document().ActivePEs.GetByNodeNumber(kEndpointNode)->ShortDestID = 0x05;
        nvguitest::AddPE(Document(), kSwitchNode, 0x0038, 0x0374, kPETypeSwitch, 500, 300, 18);
        // The pattern at 1000h of ep1, written by the test's own NWRITE_R.
        ASSERT_EQ(0, CTargetClient::Instance().DataWrite(0, 0x05, 0, kAddress, 2, 0, kPattern.constData(),
                                                         static_cast<uint32_t>(kPattern.size())));
    }
    void TearDown() override
    {
        for (int iNode : {kEndpointNode, kSwitchNode, HostNode()})
        {
            CloseMemoryViewer(m_pFrame.get(), static_cast<uint32_t>(iNode));
        }
        if (Core().IsConnected())
        {
            Core().Disconnect();
        }
        m_pUI.reset();
        m_pFrame.reset();
        ReloadLinkSettings();
    }

    CMainFrameCore& Core() { return m_pFrame->Core(); }
    CNetworkDocument& Document() { return Core().Document(); }
    int HostNode() { return Core().HostPE() ? Core().HostPE()->iNodeNumber : -1; }
    QByteArray ReadEndpoint(uint64_t ullAddress, uint32_t ulBytes)
    {
        QByteArray bytes(static_cast<qsizetype>(ulBytes), '\0');
        EXPECT_EQ(0, CTargetClient::Instance().Nread(0, 0x05, 0, static_cast<uint32_t>(ullAddress), 0, 0,
                                                     bytes.data(), ulBytes));
        return bytes;
    }
    int32_t Open(int iNode, uint32_t ulBytes, bool bBigEndian, uint32_t ulWordSize, uint32_t ulColumns,
                 uint64_t ullAddress = kAddress)
    {
        return OpenMemoryViewer(m_pFrame.get(), Document(), static_cast<uint32_t>(iNode), ullAddress, ulBytes,
                                bBigEndian, ulWordSize, true, ulColumns);
    }
    static QString Cell(CMemoryViewerWnd* pViewer, int iRow, int iColumn)
    {
        QTableWidgetItem* pItem = pViewer->Grid()->item(iRow, iColumn);
        return pItem ? pItem->text() : QStringLiteral("<none>");
    }

    nvtest::CSimProcess m_sim{"demo.topo", {"--no-udp", "--no-broadcast"}};
    std::unique_ptr<CMainFrame> m_pFrame;
    // Made after the frame, whose own message boxes it replaces.
    std::unique_ptr<nvtest::CRecordingUserInterface> m_pUI;
};

TEST_F(MemoryViewerTest, AnEndpointsMemoryIsShownInEveryWordSizeAndByteOrder)
{
    ASSERT_EQ(0, Open(kEndpointNode, 16, true, 4, 4));
    CMemoryViewerWnd* pViewer = CMemoryViewerWnd::Find(kEndpointNode);
    ASSERT_NE(nullptr, pViewer);
    EXPECT_EQ("Memory Viewer - Node 8, DestID 05h", pViewer->windowTitle().toStdString());
    ASSERT_EQ(1, pViewer->Grid()->rowCount());
    ASSERT_EQ(5, pViewer->Grid()->columnCount());
    EXPECT_EQ("00000000 00001000", pViewer->Grid()->verticalHeaderItem(0)->text().toStdString());
    EXPECT_EQ(
        (QStringList{"4E6F7276", "616E7461", "01020304", "FEFF7F20"}),
        (QStringList{Cell(pViewer, 0, 0), Cell(pViewer, 0, 1), Cell(pViewer, 0, 2), Cell(pViewer, 0, 3)}));
    EXPECT_EQ("Norvanta....... ", Cell(pViewer, 0, 4).toStdString());
    EXPECT_EQ("Read 16 bytes at 00000000 00001000 from DestID 05h.",
              pViewer->StatusLabel()->text().toStdString());

    // Little-endian half-words, three to a row, in the same window: the last row has one word and
    // two empty cells.
    ASSERT_EQ(0, Open(kEndpointNode, 14, false, 2, 3));
    ASSERT_EQ(pViewer, CMemoryViewerWnd::Find(kEndpointNode));
    ASSERT_EQ(3, pViewer->Grid()->rowCount());
    EXPECT_EQ((QStringList{"+0", "+2", "+4", "ASCII"}),
              (QStringList{pViewer->Grid()->horizontalHeaderItem(0)->text(),
                           pViewer->Grid()->horizontalHeaderItem(1)->text(),
                           pViewer->Grid()->horizontalHeaderItem(2)->text(),
                           pViewer->Grid()->horizontalHeaderItem(3)->text()}));
    EXPECT_EQ("6F4E", Cell(pViewer, 0, 0).toStdString());
    EXPECT_EQ("7672", Cell(pViewer, 0, 1).toStdString());
    EXPECT_EQ("00000000 0000100C", pViewer->Grid()->verticalHeaderItem(2)->text().toStdString());
    EXPECT_EQ("FFFE", Cell(pViewer, 2, 0).toStdString());
    EXPECT_EQ("", Cell(pViewer, 2, 1).toStdString());
    EXPECT_FALSE(pViewer->Grid()->item(2, 1)->flags() & Qt::ItemIsEditable);
    EXPECT_EQ("..", Cell(pViewer, 2, 3).toStdString());

    // Bytes.
    ASSERT_EQ(0, Open(kEndpointNode, 16, true, 1, 8));
    pViewer = CMemoryViewerWnd::Find(kEndpointNode);
    EXPECT_EQ("4E", Cell(pViewer, 0, 0).toStdString());
    EXPECT_EQ("FE", Cell(pViewer, 1, 4).toStdString());
    EXPECT_EQ("00000000 00001008", pViewer->Grid()->verticalHeaderItem(1)->text().toStdString());
    EXPECT_TRUE(m_pUI->messages.isEmpty()) << m_pUI->messages.join('|').toStdString();
}

TEST_F(MemoryViewerTest, AWordTypedIntoTheGridIsWrittenInTheViewsByteOrderAndReadBack)
{
    ASSERT_EQ(0, Open(kEndpointNode, 16, true, 4, 4));
    CMemoryViewerWnd* pViewer = CMemoryViewerWnd::Find(kEndpointNode);
    ASSERT_NE(nullptr, pViewer);
    pViewer->Grid()->item(0, 1)->setText(QStringLiteral("deadbeef"));
    EXPECT_EQ(QByteArray("\xDE\xAD\xBE\xEF", 4), ReadEndpoint(kAddress + 4, 4));
    EXPECT_EQ("DEADBEEF", Cell(pViewer, 0, 1).toStdString());
    EXPECT_EQ("Norv....", Cell(pViewer, 0, 4).toStdString().substr(0, 8));
    EXPECT_EQ("Wrote DEADBEEFh at 00000000 00001004.", pViewer->StatusLabel()->text().toStdString());

    // Little endian: the least significant byte at the lowest address.
    ASSERT_EQ(0, Open(kEndpointNode, 16, false, 4, 4));
    pViewer = CMemoryViewerWnd::Find(kEndpointNode);
    pViewer->Grid()->item(0, 2)->setText(QStringLiteral("0x11223344"));
    EXPECT_EQ(QByteArray("\x44\x33\x22\x11", 4), ReadEndpoint(kAddress + 8, 4));
    EXPECT_EQ("11223344", Cell(pViewer, 0, 2).toStdString());

    // Refused entries write nothing and put the word back.
    const QByteArray before = ReadEndpoint(kAddress, 16);
    ASSERT_EQ(0, Open(kEndpointNode, 16, true, 2, 8));
    pViewer = CMemoryViewerWnd::Find(kEndpointNode);
    m_pUI->messages.clear();
    pViewer->Grid()->item(0, 0)->setText(QStringLiteral("12G4"));
    pViewer->Grid()->item(0, 1)->setText(QStringLiteral("12345"));
    EXPECT_EQ((QStringList{InvalidEntryText(), "12345h does not fit in a word of 2 bytes."}),
              m_pUI->messages);
    EXPECT_EQ("4E6F", Cell(pViewer, 0, 0).toStdString());
    EXPECT_EQ("7276", Cell(pViewer, 0, 1).toStdString());
    EXPECT_EQ(before, ReadEndpoint(kAddress, 16));

    // A write that fails says so and keeps the grid as the memory is.
    Core().Disconnect();
    m_pUI->messages.clear();
    EXPECT_EQ(eRioNotConnected, pViewer->WriteWord(0, 0xAAAA));
    ASSERT_EQ(1, m_pUI->messages.size());
    EXPECT_TRUE(m_pUI->messages[0].startsWith("Unable to write AAAAh at 00000000 00001000.\n\n"))
        << m_pUI->messages[0].toStdString();
    EXPECT_EQ("4E6F", Cell(pViewer, 0, 0).toStdString());
    // And a refresh that can't read shows no stale words.
    EXPECT_EQ(eRioNotConnected, pViewer->Refresh());
    EXPECT_EQ("----", Cell(pViewer, 0, 0).toStdString());
    EXPECT_TRUE(
        pViewer->StatusLabel()->text().startsWith("Unable to read DestID 05h at 00000000 00001000: "));
}

TEST_F(MemoryViewerTest, TheHostPEShowsTheServerHostsMemoryAndOpeningAndClosingGiveStatuses)
{
    const int iHost = HostNode();
    ASSERT_GE(iHost, 0);
    const QByteArray host("\xCA\xFE\xF0\x0D", 4);
    ASSERT_EQ(0, CTargetClient::Instance().MemWrite(0, 0x2000, 4, 1, host.constData()));
    ASSERT_EQ(0, Open(iHost, 8, true, 4, 2, 0x2000));
    CMemoryViewerWnd* pViewer = CMemoryViewerWnd::Find(static_cast<uint32_t>(iHost));
    ASSERT_NE(nullptr, pViewer);
    EXPECT_TRUE(pViewer->windowTitle().endsWith("server host memory"));
    EXPECT_EQ("CAFEF00D", Cell(pViewer, 0, 0).toStdString());
    pViewer->Grid()->item(0, 1)->setText(QStringLiteral("12345678"));
    QByteArray back(8, '\0');
    ASSERT_EQ(0, CTargetClient::Instance().MemRead(0, 0x2000, 8, 1, back.data()));
    EXPECT_EQ(QByteArray("\xCA\xFE\xF0\x0D\x12\x34\x56\x78", 8), back);

    // Statuses of the automation's open and close.
    EXPECT_EQ(eRioNodeNotFound, Open(99, 16, true, 4, 4));
    EXPECT_EQ(eRioInvalidParameter, Open(kEndpointNode, 4097, true, 4, 4));
    EXPECT_EQ(eRioInvalidParameter, Open(kEndpointNode, 16, true, 3, 4));
    EXPECT_EQ(eRioInvalidParameter, Open(kEndpointNode, 16, true, 4, 0));
    EXPECT_EQ(eRioInvalidParameter, Open(kEndpointNode, 16, true, 4, 4, kAddress + 2));
    EXPECT_EQ(kNoRouteStatus, Open(kSwitchNode, 16, true, 4, 4));
    EXPECT_EQ(nullptr, CMemoryViewerWnd::Find(kEndpointNode));
    EXPECT_EQ(0, Open(kEndpointNode, 4096, true, 4, 8));
    EXPECT_EQ(128, CMemoryViewerWnd::Find(kEndpointNode)->Grid()->rowCount());
    EXPECT_EQ(0, CloseMemoryViewer(m_pFrame.get(), kEndpointNode));
    EXPECT_EQ(nullptr, CMemoryViewerWnd::Find(kEndpointNode));
    EXPECT_EQ(eRioNodeNotFound, CloseMemoryViewer(m_pFrame.get(), kEndpointNode));
    EXPECT_TRUE(m_pUI->messages.isEmpty()) << m_pUI->messages.join('|').toStdString();
}

TEST_F(MemoryViewerTest, EditMemoryAsksForTheViewAndRefusesBadEntries)
{
    // The dialog on its own: a size over 4096 and an address that isn't a number are refused.
    SMemoryViewSettings settings;
    CMemoryViewerSetupDlg dialog(settings, kEndpointNode);
    if (const QString strShot = qEnvironmentVariable("NV_SCREENSHOT_DIR"); !strShot.isEmpty())
    {
        dialog.show();
        QApplication::processEvents();
        dialog.grab().save(strShot + QStringLiteral("/memory-viewer-setup.png"));
        dialog.hide();
    }
    EXPECT_EQ("Edit Memory - Node 8", dialog.windowTitle().toStdString());
    dialog.BytesEdit()->setText(QStringLiteral("5000"));
    dialog.accept();
    EXPECT_EQ(QStringList{"Invalid NumBytes.  Max allowed is 4096."}, m_pUI->messages);
    EXPECT_NE(QDialog::Accepted, dialog.result());
    dialog.BytesEdit()->setText(QStringLiteral("32"));
    dialog.AddressEdit()->setText(QStringLiteral("0x10zz"));
    dialog.accept();
    EXPECT_EQ(InvalidEntryText(), m_pUI->messages.last());
    dialog.AddressEdit()->setText(QStringLiteral("1002h"));
    dialog.WordSizeCombo()->setCurrentIndex(2);
    dialog.accept();
    EXPECT_EQ("The address must be a multiple of the word size (4).", m_pUI->messages.last().toStdString());

    // The command from the PE's pop-up: the dialog, then the viewer with what was chosen, which
    // the next time is offered again.
    m_pUI->messages.clear();
    QTimer::singleShot(0,
                       []
                       {
                           auto* pDialog =
                               qobject_cast<CMemoryViewerSetupDlg*>(QApplication::activeModalWidget());
                           ASSERT_NE(nullptr, pDialog);
                           pDialog->AddressEdit()->setText(QStringLiteral("0x1008"));
                           pDialog->BytesEdit()->setText(QStringLiteral("8"));
                           pDialog->EndianCombo()->setCurrentIndex(1);
                           pDialog->ColumnsSpin()->setValue(2);
                           pDialog->AsciiCheck()->setChecked(false);
                           pDialog->accept();
                       });
    SCommandContext context;
    context.iNode = kEndpointNode;
    m_pFrame->RunCommand(eCmdEditMemory, context);
    EXPECT_TRUE(m_pUI->messages.isEmpty()) << m_pUI->messages.join('|').toStdString();
    CMemoryViewerWnd* pViewer = CMemoryViewerWnd::Find(kEndpointNode);
    ASSERT_NE(nullptr, pViewer);
    EXPECT_EQ(2, pViewer->Grid()->columnCount());
    EXPECT_EQ("04030201", Cell(pViewer, 0, 0).toStdString());
    EXPECT_EQ("207FFFFE", Cell(pViewer, 0, 1).toStdString());
    const SMemoryViewSettings stored = SMemoryViewSettings::Load();
    EXPECT_EQ(0x1008u, stored.ullAddress);
    EXPECT_EQ(8u, stored.ulNumBytes);
    EXPECT_FALSE(stored.bBigEndian);
    EXPECT_FALSE(stored.bShowAscii);

    // A switch has no destination ID: no dialog, a message.
    context.iNode = kSwitchNode;
    m_pFrame->RunCommand(eCmdEditMemory, context);
    EXPECT_EQ(QStringList{"This PE has no destination ID, so its memory cannot be reached."},
              m_pUI->messages);
}

TEST_F(MemoryViewerTest, TheGridsColumnsLineUpAndShowEveryDigit)
{
    for (uint32_t ulWordSize : {1u, 2u, 4u})
    {
        SCOPED_TRACE(ulWordSize);
        ASSERT_EQ(0, Open(kEndpointNode, 256, true, ulWordSize, 16 / ulWordSize));
        CMemoryViewerWnd* pViewer = CMemoryViewerWnd::Find(kEndpointNode);
        ASSERT_NE(nullptr, pViewer);
        pViewer->adjustSize();
        QApplication::processEvents();
        QTableWidget* pGrid = pViewer->Grid();
        const QFontMetrics metrics(pGrid->font());
        const int iWords = static_cast<int>(16 / ulWordSize);
        // The words all share one width, wide enough for their digits and their heading.
        const int iWidth = pGrid->columnWidth(0);
        for (int iColumn = 0; iColumn < iWords; ++iColumn)
        {
            EXPECT_EQ(iWidth, pGrid->columnWidth(iColumn)) << iColumn;
            EXPECT_GT(iWidth, metrics.horizontalAdvance(Cell(pViewer, 0, iColumn)));
            EXPECT_GT(iWidth, metrics.horizontalAdvance(pGrid->horizontalHeaderItem(iColumn)->text()));
            // Word columns sit side by side, left to right.
            if (iColumn > 0)
            {
                EXPECT_EQ(pGrid->columnViewportPosition(iColumn - 1) + iWidth,
                          pGrid->columnViewportPosition(iColumn));
            }
        }
        // The characters of a whole row fit, and so do the addresses.
        EXPECT_GE(pGrid->columnWidth(iWords), metrics.horizontalAdvance(QString(16, QLatin1Char('W'))));
        EXPECT_GE(pGrid->verticalHeader()->width(),
                  metrics.horizontalAdvance(QStringLiteral("00000000 00001000")));
        // Every column is in view without scrolling sideways, and the rows are of one height.
        EXPECT_EQ(0, pGrid->horizontalScrollBar()->maximum());
        EXPECT_EQ(pGrid->rowHeight(0), pGrid->rowHeight(pGrid->rowCount() - 1));
        EXPECT_GE(pGrid->rowHeight(0), metrics.height());
        // The controls fit the window's width.
        EXPECT_LE(pViewer->RefreshButton()->geometry().right(), pViewer->width());
        const QString strShot = qEnvironmentVariable("NV_SCREENSHOT_DIR");
        if (!strShot.isEmpty())
        {
            pViewer->grab().save(strShot + QStringLiteral("/memory-viewer-%1.png").arg(ulWordSize));
        }
    }
}

TEST(MemoryImageTest, WordsRowsAndCharactersOfAnOddSizedBlock)
{
    SMemoryViewSettings settings;
    settings.ullAddress = 0xFFFFFFFF00000010ull;
    settings.ulNumBytes = 10; // two words and half of a third
    settings.ulWordSize = 4;
    settings.ulNumColumns = 2;
    settings.bBigEndian = false;
    CMemoryImage image(settings);
    ASSERT_EQ(12, image.Bytes().size());
    EXPECT_EQ(3u, image.WordCount());
    EXPECT_EQ(2u, image.RowCount());
    EXPECT_EQ(2, image.WordIndex(1, 0));
    EXPECT_EQ(-1, image.WordIndex(1, 1));
    EXPECT_EQ(-1, image.WordIndex(0, 2));
    EXPECT_EQ(0xFFFFFFFF00000018ull, image.RowAddress(1));
    EXPECT_EQ("FFFFFFFF 00000018", CMemoryImage::AddressText(image.WordAddress(2)).toStdString());
    image.SetWordValue(1, 0x41424344);
    EXPECT_EQ(QByteArray("\0\0\0\0DCBA", 8), image.Bytes().left(8));
    EXPECT_EQ(0x41424344u, image.WordValue(1));
    EXPECT_EQ("41424344", image.WordText(1).toStdString());
    EXPECT_EQ("....DCBA", image.AsciiText(0).toStdString());
    // The address space ends; a view past it is refused.
    settings.ullAddress = ~0ull - 7;
    settings.ulNumBytes = 16;
    EXPECT_FALSE(settings.Problem().isEmpty());
    settings.ulNumBytes = 8;
    EXPECT_TRUE(settings.Problem().isEmpty());
}
} // namespace

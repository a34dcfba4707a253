#include "PacketTraceDlg.h"

#include "MainFrameCore.h"
#include "MapCommands.h"
#include "NetworkDocument.h"
#include "PacketGenerator.h"
#include "PacketText.h"
#include "PcapFile.h"
#include "Preferences.h"
#include "RIOPacket.h"
#include "UserInterface.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QDateTime>
#include <QFileInfo>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QTabWidget>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>
#include <map>

namespace
{
std::map<int, CIDT_Gen2_PacketTraceTabDlg*>& Windows()
{
    static std::map<int, CIDT_Gen2_PacketTraceTabDlg*> s_windows;
    return s_windows;
}

constexpr int kCompareRow = 0;
constexpr int kMaskRow = 1;
constexpr int kCompareBits = kTraceCompareBytes * 8;

QString BinaryText(uint8_t b)
{
    const QString strBits = QStringLiteral("%1").arg(b, 8, 2, QLatin1Char('0'));
    return strBits.left(4) + QLatin1Char(' ') + strBits.mid(4);
}

uint8_t BinaryValue(const QString& strText)
{
    uint32_t ulValue = 0;
    for (const QChar ch : strText)
    {
        if (ch == QLatin1Char('0') || ch == QLatin1Char('1'))
            ulValue = (ulValue << 1) | (ch == QLatin1Char('1') ? 1u : 0u);
    }
    return static_cast<uint8_t>(ulValue);
}

// A counter button, or a port's heading, as narrow as seven digits (or "Port 17") allow, so that 18
// ports fit side by side: the style's button width is only what it prefers.
void Narrow(QPushButton* pButton)
{
    const QFontMetrics metrics = pButton->fontMetrics();
    pButton->setMinimumWidth(std::max(metrics.horizontalAdvance(QStringLiteral("9999999")),
                                      metrics.horizontalAdvance(QStringLiteral("Port 17"))) +
                             10);
    pButton->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

// The grid as tall as its rows, with room for its scroll bar.
void FitHeight(CGridCtrl* pGrid)
{
    pGrid->setFixedHeight(pGrid->FullSize().height() + pGrid->horizontalScrollBar()->sizeHint().height() + 2);
}

void Message(const QString& strText)
{
    UI().ShowMessage(strText, QString::fromLatin1(kPacketTraceCaption), EMessageKind::Error);
}
} // namespace

QString TraceFieldHeading(const QString& strCaption, int nBits, int nStartBit, bool bInPacket)
{
    if (!bInPacket || nBits <= 0)
        return strCaption;
    const int nEnd = nStartBit + nBits;
    if (nEnd <= kCompareBits)
        return QStringLiteral("%1\n[%2]").arg(strCaption).arg(nBits);
    const int nWithin = nStartBit < kCompareBits ? kCompareBits - nStartBit : 0;
    return QStringLiteral("%1\n[%2(%3)]").arg(strCaption).arg(nBits).arg(nWithin);
}

// --- IDT_Gen2_PacketTraceGrid ----------------------------------------------------------------------

IDT_Gen2_PacketTraceGrid::IDT_Gen2_PacketTraceGrid(QWidget* pParent) : CPacketGrid(pParent)
{
    m_pPacket->SetTypeAndIDSize(8, 0);
    connect(this, &CGridCtrl::CellEdited, this, &IDT_Gen2_PacketTraceGrid::OnEdited);
    connect(this, &CGridCtrl::OptionChosen, this, &IDT_Gen2_PacketTraceGrid::OnOption);
    Rebuild();
}

void IDT_Gen2_PacketTraceGrid::Rebuild()
{
    if (m_bRebuilding)
        return;
    m_bRebuilding = true;
    CRIOPacket& packet = *m_pPacket;
    const int nFields = packet.GetFieldCount();
    BeginUpdate();
    ClearAll();
    SetShape(nFields, 1, 2);
    SetRowHeading(kCompareRow, QStringLiteral("Compare"));
    SetRowHeading(kMaskRow, QStringLiteral("Mask"));
    int nBit = 0;
    for (int i = 0; i < nFields; ++i)
    {
        CRIOPacketField& field = *packet.GetField(i);
        SetHeading(0, i, TraceFieldHeading(field.strCaption, field.nBits, nBit, field.bInPacket));
        SetColumnWidth(i, static_cast<int>(field.nColumnWidth));
        SetColumnHeadingColour(i, GridColourFromRef(field.crColour));
        const bool bExcluded = field.bInPacket && field.nBits > 0 && nBit >= kCompareBits;
        const bool bData =
            field.nFieldID == eRIOFieldDATA2 || (field.nFieldID == eRIOFieldDATA && field.nBits > 32);
        QString strToolTip;
        if (field.HasToolTip())
            field.GetToolTip(strToolTip);
        for (int nRow : {kCompareRow, kMaskRow})
        {
            SGridCell cell;
            cell.strToolTip = strToolTip;
            if (bExcluded)
            {
                cell.strText = QStringLiteral("Excluded");
                cell.bReadOnly = true;
            }
            else if (bData)
            {
                cell.strText = nRow == kCompareRow ? QStringLiteral("See below left")
                                                   : QStringLiteral("See below right");
                cell.bReadOnly = true;
            }
            else
            {
                cell.strText = nRow == kCompareRow ? FieldValueText(field) : FieldMaskText(field);
                const bool bValid = nRow == kCompareRow ? field.IsValueValid() : field.IsMaskValid();
                cell.crBackground = bValid ? QColor(Qt::white) : GridColourFromRef(255);
                if (nRow == kCompareRow && field.HasOptions())
                {
                    QString strOptions;
                    field.GetOptions(strOptions);
                    cell.eKind = EGridCellKind::eDropList;
                    for (const QString& strLine : strOptions.split(QLatin1Char('\n'), Qt::SkipEmptyParts))
                    {
                        const qsizetype nEquals = strLine.indexOf(QLatin1Char('='));
                        bool bOk = false;
                        const uint32_t ulValue = strLine.left(nEquals).toUInt(&bOk, 16);
                        if (nEquals <= 0 || !bOk)
                            continue;
                        if (ulValue == field.GetValue())
                            cell.iSelected = static_cast<int>(cell.options.size());
                        cell.options.push_back({ulValue, strLine.mid(nEquals + 1)});
                    }
                }
            }
            SetCell(nRow, i, cell);
        }
        if (field.bInPacket)
            nBit += field.nBits;
    }
    EndUpdate();
    FitHeight(this);
    m_bRebuilding = false;
    emit PacketChanged();
}

void IDT_Gen2_PacketTraceGrid::OnEdited(int iRow, int iColumn, const QString& strText)
{
    if (CRIOPacketField* pField = m_pPacket->GetField(iColumn))
        SetFieldFromCellText(*pField, strText, iRow == kMaskRow);
    Rebuild();
}

void IDT_Gen2_PacketTraceGrid::OnOption(int, int iColumn, int iIndex)
{
    if (CRIOPacketField* pField = m_pPacket->GetField(iColumn))
        pField->SelectOption(iIndex);
    Rebuild();
}

// --- CIDT_Gen2_PacketTraceCfgDlg -------------------------------------------------------------------

CIDT_Gen2_PacketTraceCfgDlg::CIDT_Gen2_PacketTraceCfgDlg(CPacketTrace& trace, QWidget* pParent)
    : QWidget(pParent), m_trace(trace)
{
    m_pComparator = new QComboBox(this);
    for (int c = 0; c < kTraceComparators; ++c)
        m_pComparator->addItem(QStringLiteral("Comparator %1").arg(c + 1));
    connect(m_pComparator, &QComboBox::currentIndexChanged, this,
            &CIDT_Gen2_PacketTraceCfgDlg::SelectComparator);
    m_pEnabled = new QCheckBox(QStringLiteral("Enabled"), this);
    connect(m_pEnabled, &QCheckBox::clicked, this,
            [this](bool bOn)
            {
                m_trace.SetComparatorEnabled(m_nComparator, bOn);
                RefreshArmed();
                emit ComparatorEnabledChanged();
            });
    m_pArmedUpdate = new QPushButton(QStringLiteral("Update"), this);
    m_pArmedUpdate->setToolTip(QStringLiteral("Send the changed comparators to the switch"));
    m_pArmedUpdate->hide();
    connect(m_pArmedUpdate, &QPushButton::clicked, this,
            [this]()
            {
                m_trace.UpdateDirty();
                RefreshArmed();
            });

    QHBoxLayout* pTop = new QHBoxLayout;
    pTop->addWidget(m_pComparator);
    pTop->addWidget(m_pEnabled);
    pTop->addStretch(1);
    pTop->addWidget(new QLabel(QStringLiteral("Address Size:"), this));
    m_pAddressBits = new QButtonGroup(this);
    for (int nBits : {34, 50, 66})
    {
        QRadioButton* pRadio = new QRadioButton(QStringLiteral("%1 Bits").arg(nBits), this);
        m_pAddressBits->addButton(pRadio, nBits);
        pTop->addWidget(pRadio);
    }
    m_pAddressBits->button(34)->setChecked(true);
    pTop->addWidget(m_pArmedUpdate);

    m_pGrid = new IDT_Gen2_PacketTraceGrid(this);
    connect(m_pGrid, &IDT_Gen2_PacketTraceGrid::PacketChanged, this,
            [this]()
            {
                if (!m_bLoading)
                    StoreTemplate();
            });
    connect(m_pAddressBits, &QButtonGroup::idClicked, this,
            [this](int nBits) { m_pGrid->Packet().SetAddressBits(static_cast<uint32_t>(nBits)); });

    // Data editors.
    m_pCompareData = new CHexEditor(4, 4, this);
    m_pCompareData->setAccessibleName(QStringLiteral("Packet Data Comparison Values Hex Editor"));
    m_pMaskData = new CHexEditor(4, 4, this);
    m_pMaskData->setAccessibleName(QStringLiteral("Packet Data Mask Values Hex Editor"));
    for (CHexEditor* pEditor : {m_pCompareData, m_pMaskData})
    {
        pEditor->setMinimumSize(pEditor->SizeForLines(6));
        connect(pEditor, &CHexEditor::EnterPressed, this, &CIDT_Gen2_PacketTraceCfgDlg::TakeHexEditors);
    }
    QPushButton* pHexUpdate = new QPushButton(QStringLiteral("Update"), this);
    connect(pHexUpdate, &QPushButton::clicked, this, &CIDT_Gen2_PacketTraceCfgDlg::TakeHexEditors);
    QGroupBox* pDataBox = new QGroupBox(QStringLiteral("Packet Data"), this);
    QGridLayout* pDataLayout = new QGridLayout(pDataBox);
    pDataLayout->addWidget(new QLabel(QStringLiteral("Comparison Values"), this), 0, 0);
    pDataLayout->addWidget(new QLabel(QStringLiteral("Mask Values"), this), 0, 1);
    pDataLayout->addWidget(m_pCompareData, 1, 0);
    pDataLayout->addWidget(m_pMaskData, 1, 1);
    pDataLayout->addWidget(pHexUpdate, 2, 1, Qt::AlignRight);

    // The binary editor of the first 20 bytes.
    QGroupBox* pBinaryBox = new QGroupBox(QStringLiteral("Trace Criteria Binary Editor"), this);
    QGridLayout* pBinary = new QGridLayout(pBinaryBox);
    QLabel* pNote =
        new QLabel(QStringLiteral("A 1 in the mask makes the bit of the comparison value count."), this);
    pNote->setWordWrap(true);
    pBinary->addWidget(pNote, 0, 0, 1, 6);
    for (int nHalf = 0; nHalf < 2; ++nHalf)
    {
        pBinary->addWidget(new QLabel(QStringLiteral("Comparison Value"), this), 1, nHalf * 3 + 1);
        pBinary->addWidget(new QLabel(QStringLiteral("Mask"), this), 1, nHalf * 3 + 2);
    }
    for (int b = 0; b < kTraceCompareBytes; ++b)
    {
        const int nRow = 2 + b % 10;
        const int nColumn = (b / 10) * 3;
        pBinary->addWidget(new QLabel(QStringLiteral("Byte %1").arg(b), this), nRow, nColumn);
        for (bool bMask : {false, true})
        {
            QLineEdit* pBox = new QLineEdit(BinaryText(0), this);
            pBox->setInputMask(QStringLiteral("BBBB BBBB"));
            pBox->setFixedWidth(pBox->fontMetrics().horizontalAdvance(QStringLiteral("0000 0000")) + 16);
            connect(pBox, &QLineEdit::returnPressed, this, &CIDT_Gen2_PacketTraceCfgDlg::TakeBinary);
            pBinary->addWidget(pBox, nRow, nColumn + (bMask ? 2 : 1));
            (bMask ? m_apMask : m_apCompare)[static_cast<size_t>(b)] = pBox;
        }
    }
    QPushButton* pBinaryUpdate = new QPushButton(QStringLiteral("Update"), this);
    connect(pBinaryUpdate, &QPushButton::clicked, this, &CIDT_Gen2_PacketTraceCfgDlg::TakeBinary);
    pBinary->addWidget(pBinaryUpdate, 12, 5);

    QGridLayout* pLayout = new QGridLayout(this);
    pLayout->addLayout(pTop, 0, 0, 1, 2);
    pLayout->addWidget(m_pGrid, 1, 0, 1, 2);
    pLayout->addWidget(pDataBox, 2, 0);
    pLayout->addWidget(pBinaryBox, 2, 1);
    pLayout->setRowStretch(2, 1);
    SelectComparator(0);
}

QLineEdit* CIDT_Gen2_PacketTraceCfgDlg::BinaryBox(int nByte, bool bMask) const
{
    return (bMask ? m_apMask : m_apCompare)[static_cast<size_t>(nByte)];
}

void CIDT_Gen2_PacketTraceCfgDlg::SelectComparator(int c)
{
    if (c < 0 || c >= kTraceComparators)
        return;
    m_nComparator = c;
    m_bLoading = true;
    m_pEnabled->setChecked(m_trace.ComparatorEnabled(c));
    if (m_trace.Bytes(c) > 0)
        m_pGrid->Packet().LoadStream(m_trace.Compare(c), static_cast<uint32_t>(m_trace.Bytes(c)), nullptr,
                                     m_trace.Mask(c));
    m_pGrid->Rebuild();
    m_bLoading = false;
    if (m_trace.Bytes(c) == 0)
        StoreTemplate(); // a comparator never edited starts from the template as shown
    ShowTemplate();
}

void CIDT_Gen2_PacketTraceCfgDlg::StoreTemplate()
{
    std::vector<uint8_t> bytes;
    std::vector<uint8_t> mask;
    m_pGrid->Packet().GetStream(bytes, nullptr, nullptr, &mask);
    mask.resize(bytes.size(), 0);
    m_trace.SetComparator(m_nComparator, bytes.data(), mask.data(), static_cast<int>(bytes.size()));
    ShowTemplate();
    RefreshArmed();
}

void CIDT_Gen2_PacketTraceCfgDlg::ShowTemplate()
{
    std::vector<uint8_t> data;
    std::vector<uint8_t> mask;
    m_pGrid->Packet().GetData(data, &mask);
    m_pCompareData->SetBytes(data);
    m_pMaskData->SetBytes(mask);
    for (int b = 0; b < kTraceCompareBytes; ++b)
    {
        m_apCompare[static_cast<size_t>(b)]->setText(BinaryText(m_trace.Compare(m_nComparator)[b]));
        m_apMask[static_cast<size_t>(b)]->setText(BinaryText(m_trace.Mask(m_nComparator)[b]));
    }
}

void CIDT_Gen2_PacketTraceCfgDlg::TakeHexEditors()
{
    std::vector<uint8_t> data = m_pCompareData->Bytes();
    std::vector<uint8_t> mask = m_pMaskData->Bytes();
    std::vector<uint8_t> old;
    if (!m_pGrid->Packet().GetData(old))
        return;
    data.resize(old.size(), 0);
    mask.resize(old.size(), 0);
    m_pGrid->Packet().SetData(data.data(), mask.data(), static_cast<uint32_t>(data.size()));
    m_pGrid->Packet().PackStream();
    m_pGrid->Rebuild();
}

void CIDT_Gen2_PacketTraceCfgDlg::TakeBinary()
{
    const int c = m_nComparator;
    std::vector<uint8_t> compare(m_trace.Compare(c), m_trace.Compare(c) + kTraceBufferBytes);
    std::vector<uint8_t> mask(m_trace.Mask(c), m_trace.Mask(c) + kTraceBufferBytes);
    for (int b = 0; b < kTraceCompareBytes; ++b)
    {
        compare[static_cast<size_t>(b)] = BinaryValue(m_apCompare[static_cast<size_t>(b)]->text());
        mask[static_cast<size_t>(b)] = BinaryValue(m_apMask[static_cast<size_t>(b)]->text());
    }
    const int nBytes = std::max(m_trace.Bytes(c), kTraceCompareBytes);
    m_trace.SetComparator(c, compare.data(), mask.data(), nBytes);
    m_bLoading = true;
    m_pGrid->Packet().LoadStream(m_trace.Compare(c), static_cast<uint32_t>(nBytes), nullptr, m_trace.Mask(c));
    m_pGrid->Rebuild();
    m_bLoading = false;
    ShowTemplate();
    RefreshArmed();
}

void CIDT_Gen2_PacketTraceCfgDlg::RefreshArmed()
{
    m_pArmedUpdate->setVisible(m_trace.AnyDirty());
}

// --- CIDT_Gen2_PacketTraceRunDlg -------------------------------------------------------------------

CIDT_Gen2_PacketTraceRunDlg::CIDT_Gen2_PacketTraceRunDlg(CPacketTrace& trace, QWidget* pParent)
    : QWidget(pParent), m_trace(trace)
{
    // "Reset All Counters" on a line of its own: in the corner of the table it would make the row
    // headings' column as wide as its text, and push the last ports out of the tab.
    QVBoxLayout* pOuter = new QVBoxLayout(this);
    QPushButton* pAll = new QPushButton(QStringLiteral("Reset All Counters"), this);
    connect(pAll, &QPushButton::clicked, this,
            [this]()
            {
                m_trace.ResetAll();
                Refresh();
            });
    pOuter->addWidget(pAll, 0, Qt::AlignLeft);
    QGridLayout* pLayout = new QGridLayout;
    pOuter->addLayout(pLayout);
    pOuter->addStretch(1);
    pLayout->setHorizontalSpacing(2);
    pLayout->setVerticalSpacing(2);
    for (int p = 0; p < kTraceMaxPorts; ++p)
    {
        QPushButton* pPort = new QPushButton(QStringLiteral("Port %1").arg(p), this);
        Narrow(pPort);
        connect(pPort, &QPushButton::clicked, this,
                [this, p]()
                {
                    m_trace.ResetPort(p);
                    Refresh();
                });
        m_apPorts[static_cast<size_t>(p)] = pPort;
        pLayout->addWidget(pPort, 0, p + 1);
    }
    for (int r = 0; r < kTraceCounterRows; ++r)
    {
        QPushButton* pRow = new QPushButton(TraceRowName(r), this);
        connect(pRow, &QPushButton::clicked, this,
                [this, r]()
                {
                    m_trace.ResetRow(r);
                    Refresh();
                });
        m_apRows[static_cast<size_t>(r)] = pRow;
        pLayout->addWidget(pRow, r + 1, 0);
        for (int p = 0; p < kTraceMaxPorts; ++p)
        {
            QPushButton* pCounter = new QPushButton(QStringLiteral("0"), this);
            Narrow(pCounter);
            connect(pCounter, &QPushButton::clicked, this,
                    [this, r, p]()
                    {
                        m_trace.ResetCounter(r, p);
                        Refresh();
                    });
            m_apCounters[static_cast<size_t>(r)][static_cast<size_t>(p)] = pCounter;
            pLayout->addWidget(pCounter, r + 1, p + 1);
        }
    }
    pLayout->setColumnStretch(kTraceMaxPorts + 1, 1);
    Refresh();
}

QPushButton* CIDT_Gen2_PacketTraceRunDlg::CounterButton(int nRow, int nPort) const
{
    return m_apCounters[static_cast<size_t>(nRow)][static_cast<size_t>(nPort)];
}

void CIDT_Gen2_PacketTraceRunDlg::Refresh()
{
    for (int p = 0; p < kTraceMaxPorts; ++p)
    {
        const bool bUsable = m_trace.PortUsable(p);
        m_apPorts[static_cast<size_t>(p)]->setVisible(bUsable);
        for (int r = 0; r < kTraceCounterRows; ++r)
        {
            QPushButton* pButton = CounterButton(r, p);
            pButton->setVisible(bUsable);
            pButton->setEnabled(m_trace.CounterEnabled(r, p));
            pButton->setText(QString::number(m_trace.Total(r, p)));
        }
    }
}

// --- CIDT_Gen2_PacketTraceTabDlg -------------------------------------------------------------------

CIDT_Gen2_PacketTraceTabDlg* CIDT_Gen2_PacketTraceTabDlg::Find(int iNode)
{
    const auto it = Windows().find(iNode);
    return it == Windows().end() ? nullptr : it->second;
}

CIDT_Gen2_PacketTraceTabDlg* CIDT_Gen2_PacketTraceTabDlg::Open(CNetworkDocument& document, int iNode,
                                                               QWidget* pParent)
{
    const CPEPrimitive* pPE = document.pCurrentPEs->GetByNodeNumber(iNode);
    if (!pPE || !IsGen2ToolSwitch(pPE->ManufID, pPE->DeviceID))
        return nullptr;
    CIDT_Gen2_PacketTraceTabDlg* pWindow = Find(iNode);
    if (!pWindow)
    {
        pWindow = new CIDT_Gen2_PacketTraceTabDlg(document, iNode, pParent);
        Windows()[iNode] = pWindow;
    }
    pWindow->show();
    pWindow->raise();
    pWindow->activateWindow();
    return pWindow;
}

CIDT_Gen2_PacketTraceTabDlg::CIDT_Gen2_PacketTraceTabDlg(CNetworkDocument& document, int iNode,
                                                         QWidget* pParent)
    : QWidget(pParent, Qt::Window), m_access(document, iNode), m_trace(m_access, iNode), m_capture(m_access)
{
    setWindowTitle(QStringLiteral("Packet Trace / Filter"));
    m_trace.Open();

    // Trace port, routing mode and the buttons.
    m_pTracePort = new QComboBox(this);
    for (int p : m_trace.UsablePorts())
        m_pTracePort->addItem(QStringLiteral("Port %1").arg(p), p);
    m_pTracePort->setCurrentIndex(m_pTracePort->findData(m_trace.TracePort()));
    connect(m_pTracePort, &QComboBox::activated, this,
            [this](int nIndex) { m_trace.SetTracePort(m_pTracePort->itemData(nIndex).toInt()); });
    m_pRouting = new QButtonGroup(this);
    QRadioButton* pDefault = new QRadioButton(QStringLiteral("Default Trace Routing Mode"), this);
    QRadioButton* pOptional = new QRadioButton(QStringLiteral("Optional Trace Routing Mode"), this);
    m_pRouting->addButton(pDefault, 0);
    m_pRouting->addButton(pOptional, 1);
    pDefault->setChecked(true);
    connect(m_pRouting, &QButtonGroup::idClicked, this,
            [this](int nMode) { m_trace.SetTraceRouting(nMode); });
    m_pPlay = new QPushButton(QStringLiteral("Play"), this);
    m_pPause = new QPushButton(QStringLiteral("Pause"), this);
    m_pStop = new QPushButton(QStringLiteral("Stop"), this);
    for (QPushButton* pButton : {m_pPlay, m_pPause, m_pStop})
        pButton->setCheckable(true);
    connect(m_pPlay, &QPushButton::clicked, this, &CIDT_Gen2_PacketTraceTabDlg::Play);
    connect(m_pPause, &QPushButton::clicked, this, &CIDT_Gen2_PacketTraceTabDlg::Pause);
    connect(m_pStop, &QPushButton::clicked, this, &CIDT_Gen2_PacketTraceTabDlg::Stop);
    m_pState = new QLabel(this);
    m_pCapture = new QCheckBox(QStringLiteral("Capture traced packets"), this);
    m_pCapture->setToolTip(
        QStringLiteral("While playing, the trace port's packet capture keeps what is traced, "
                       "for Save Capture..."));
    QPushButton* pSave = new QPushButton(QStringLiteral("Save Capture..."), this);
    connect(pSave, &QPushButton::clicked, this, &CIDT_Gen2_PacketTraceTabDlg::SaveCapture);

    QGridLayout* pTop = new QGridLayout;
    pTop->addWidget(new QLabel(QStringLiteral("Trace Port:"), this), 0, 0);
    pTop->addWidget(m_pTracePort, 0, 1);
    pTop->addWidget(pDefault, 0, 2);
    pTop->addWidget(pOptional, 1, 2);
    pTop->addWidget(m_pPlay, 0, 4);
    pTop->addWidget(m_pPause, 0, 5);
    pTop->addWidget(m_pStop, 0, 6);
    pTop->addWidget(m_pState, 1, 4, 1, 3);
    pTop->addWidget(m_pCapture, 0, 8);
    pTop->addWidget(pSave, 1, 8);
    pTop->setColumnStretch(3, 1);
    pTop->setColumnStretch(7, 1);

    // The Enable matrix.
    QGroupBox* pMatrixBox = new QGroupBox(QStringLiteral("Enable Flags"), this);
    QGridLayout* pMatrix = new QGridLayout(pMatrixBox);
    pMatrix->setHorizontalSpacing(6);
    pMatrix->setVerticalSpacing(2);
    for (int p = 0; p < kTraceMaxPorts; ++p)
    {
        m_apPortLabels[static_cast<size_t>(p)] = new QLabel(QStringLiteral("Port %1").arg(p), this);
        pMatrix->addWidget(m_apPortLabels[static_cast<size_t>(p)], 0, p + 1, Qt::AlignHCenter);
    }
    for (int r = 0; r < kTraceRows; ++r)
    {
        pMatrix->addWidget(new QLabel(TraceRowName(r), this), r + 1, 0);
        for (int p = 0; p < kTraceMaxPorts; ++p)
        {
            QCheckBox* pBox = new QCheckBox(this);
            connect(pBox, &QCheckBox::clicked, this,
                    [this, r, p](bool bOn)
                    {
                        m_trace.SetCheck(r, p, bOn);
                        RefreshMatrix();
                        RefreshState();
                    });
            m_apEnable[static_cast<size_t>(r)][static_cast<size_t>(p)] = pBox;
            pMatrix->addWidget(pBox, r + 1, p + 1, Qt::AlignHCenter);
        }
    }
    pMatrix->setColumnStretch(kTraceMaxPorts + 1, 1);

    // The tabs.
    m_pTabs = new QTabWidget(this);
    m_pCfg = new CIDT_Gen2_PacketTraceCfgDlg(m_trace, m_pTabs);
    m_pRun = new CIDT_Gen2_PacketTraceRunDlg(m_trace, m_pTabs);
    m_pTabs->addTab(m_pCfg, QStringLiteral("Comparator Settings"));
    QScrollArea* pRunScroll = new QScrollArea(m_pTabs);
    pRunScroll->setWidget(m_pRun);
    pRunScroll->setWidgetResizable(true);
    m_pTabs->addTab(pRunScroll, QStringLiteral("Packet Counters"));
    m_pTabs->setCurrentIndex(
        static_cast<int>(GetPreference(QStringLiteral("Preferences"), QStringLiteral("LastConnTab"), 0u)) %
        2);
    connect(m_pTabs, &QTabWidget::currentChanged, this,
            [](int nTab)
            {
                SetPreference(QStringLiteral("Preferences"), QStringLiteral("LastConnTab"),
                              static_cast<uint32_t>(nTab));
            });
    connect(m_pCfg, &CIDT_Gen2_PacketTraceCfgDlg::ComparatorEnabledChanged, this,
            &CIDT_Gen2_PacketTraceTabDlg::RefreshMatrix);

    m_pTimer = new QTimer(this);
    m_pTimer->setInterval(1000);
    connect(m_pTimer, &QTimer::timeout, this, &CIDT_Gen2_PacketTraceTabDlg::OnTick);

    QVBoxLayout* pLayout = new QVBoxLayout(this);
    pLayout->addLayout(pTop);
    pLayout->addWidget(pMatrixBox);
    pLayout->addWidget(m_pTabs, 1);
    RefreshMatrix();
    RefreshState();
    resize(1300, 860);
}

CIDT_Gen2_PacketTraceTabDlg::~CIDT_Gen2_PacketTraceTabDlg()
{
    const auto it = Windows().find(m_access.Node());
    if (it != Windows().end() && it->second == this)
        Windows().erase(it);
}

QCheckBox* CIDT_Gen2_PacketTraceTabDlg::EnableBox(int nRow, int nPort) const
{
    return m_apEnable[static_cast<size_t>(nRow)][static_cast<size_t>(nPort)];
}

void CIDT_Gen2_PacketTraceTabDlg::RefreshMatrix()
{
    for (int p = 0; p < kTraceMaxPorts; ++p)
    {
        const bool bUsable = m_trace.PortUsable(p);
        m_apPortLabels[static_cast<size_t>(p)]->setVisible(bUsable);
        for (int r = 0; r < kTraceRows; ++r)
        {
            QCheckBox* pBox = EnableBox(r, p);
            pBox->setVisible(bUsable);
            pBox->setEnabled(bUsable && m_trace.RowEnabled(r));
            pBox->setChecked(m_trace.Check(r, p));
        }
    }
    m_pRun->Refresh();
    m_pCfg->RefreshArmed();
}

void CIDT_Gen2_PacketTraceTabDlg::RefreshState()
{
    const int nState = m_trace.RunState();
    m_pPlay->setChecked(nState == eTraceRunning);
    m_pPause->setChecked(nState == eTracePaused);
    m_pStop->setChecked(nState == eTraceStopped);
    static const char* const kStates[] = {"Stopped", "Paused", "Running"};
    m_pState->setText(
        QString::fromLatin1(kStates[nState]) +
        (m_capture.Active() ? QStringLiteral(", capturing (%1 packets)").arg(m_captured.size()) : QString()));
    if (nState == eTraceRunning && !m_pTimer->isActive())
        m_pTimer->start();
    else if (nState != eTraceRunning)
        m_pTimer->stop();
    if (nState == eTraceStopped)
        EndCapture();
    m_pCfg->RefreshArmed();
}

void CIDT_Gen2_PacketTraceTabDlg::Play()
{
    if (m_trace.RunState() == eTraceStopped && m_pCapture->isChecked() && m_access.IsConnected())
    {
        QString strError;
        m_captured.clear();
        if (!m_capture.Begin(m_trace.TracePort(), &strError))
            Message(strError);
    }
    m_trace.Play();
    RefreshState();
}

void CIDT_Gen2_PacketTraceTabDlg::Pause()
{
    m_trace.Pause();
    RefreshState();
}

void CIDT_Gen2_PacketTraceTabDlg::Stop()
{
    if (m_trace.RunState() != eTraceStopped)
        DrainCapture();
    m_trace.Stop();
    RefreshState();
}

void CIDT_Gen2_PacketTraceTabDlg::OnTick()
{
    m_trace.Tick();
    DrainCapture();
    m_pRun->Refresh();
    RefreshState();
}

void CIDT_Gen2_PacketTraceTabDlg::DrainCapture()
{
    if (!m_capture.Active())
        return;
    QString strError;
    const bool bOk = m_capture.Drain(
        [this](const uint8_t* pBytes, uint32_t nBytes)
        {
            std::vector<uint8_t> packet;
            if (!MeasureCapturedPacket(pBytes, nBytes, &packet))
                packet.assign(pBytes, pBytes + nBytes);
            m_captured.push_back(std::move(packet));
        },
        &strError);
    if (!bOk)
        UI().Beep();
}

void CIDT_Gen2_PacketTraceTabDlg::EndCapture()
{
    if (!m_capture.Active())
        return;
    QString strError;
    if (!m_capture.End(&strError))
        Message(strError);
}

void CIDT_Gen2_PacketTraceTabDlg::SaveCapture()
{
    if (m_captured.empty())
    {
        UI().ShowMessage(
            QStringLiteral("No packets have been captured.  Check \"Capture traced packets\" and play the "
                           "trace to capture what the trace port sends."),
            QString::fromLatin1(kPacketTraceCaption), EMessageKind::Information);
        return;
    }
    QString strPath =
        UI().ChooseFile(true, QStringLiteral("Save Capture"),
                        QStringLiteral("Packet Capture (*.pcap)|*.pcap||"), QStringLiteral("*.pcap"));
    if (strPath.isEmpty())
        return;
    if (QFileInfo(strPath).suffix().isEmpty())
        strPath += QStringLiteral(".pcap");
    CPcapWriter writer;
    QString strError;
    const uint64_t ullNow = static_cast<uint64_t>(QDateTime::currentMSecsSinceEpoch()) * 1000u;
    bool bOk = writer.Open(strPath, &strError);
    for (size_t i = 0; bOk && i < m_captured.size(); ++i)
        bOk = writer.Write(m_captured[i].data(), static_cast<uint32_t>(m_captured[i].size()), ullNow + i);
    if (!bOk || !writer.Close(&strError))
        Message(strError.isEmpty() ? QStringLiteral("Unable to write %1").arg(strPath) : strError);
}

void InstallPacketTraceCommands(CMainFrameCore& frame, QWidget* pParent)
{
    frame.SetCommandHandler(eCmdPacketTrace, [&frame, pParent](const SCommandContext& context)
                            { CIDT_Gen2_PacketTraceTabDlg::Open(frame.Document(), context.iNode, pParent); });
}

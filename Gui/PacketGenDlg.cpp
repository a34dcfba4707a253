#include "PacketGenDlg.h"

#include "MainFrameCore.h"
#include "MapCommands.h"
#include "NetworkDocument.h"
#include "NpfFile.h"
#include "PacketText.h"
#include "RIOPacket.h"
#include "UserInterface.h"

#include <QApplication>
#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QFileInfo>
#include <QFontDatabase>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollBar>
#include <QVBoxLayout>

#include <cstdlib>

namespace
{
CIDT_Gen2_PacketGenDlg* s_pInstance = nullptr;

const char* const kOpenFilter = "Norvanta Packet File (*.npf)|*.npf|Text Files (*.txt)|*.txt|All Files|*||";

// The options of a field: its pick list's lines "%X=%s".
std::vector<SGridOption> FieldOptions(CRIOPacketField& field, int* piSelected)
{
    QString strText;
    field.GetOptions(strText);
    std::vector<SGridOption> options;
    *piSelected = -1;
    for (const QString& strLine : strText.split(QLatin1Char('\n'), Qt::SkipEmptyParts))
    {
        const qsizetype nEquals = strLine.indexOf(QLatin1Char('='));
        if (nEquals <= 0)
            continue;
        bool bOk = false;
        const uint32_t ulValue = strLine.left(nEquals).toUInt(&bOk, 16);
        if (!bOk)
            continue;
        if (ulValue == field.GetValue())
            *piSelected = static_cast<int>(options.size());
        options.push_back({ulValue, strLine.mid(nEquals + 1)});
    }
    return options;
}
} // namespace

// --- CHexEditor ------------------------------------------------------------------------------------

CHexEditor::CHexEditor(int nColumns, int nGroup, QWidget* pParent)
    : QPlainTextEdit(pParent), m_nColumns(nColumns), m_nGroup(nGroup)
{
    setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    setLineWrapMode(QPlainTextEdit::NoWrap);
    setTabChangesFocus(true);
}

void CHexEditor::SetBytes(const std::vector<uint8_t>& bytes)
{
    QString strText;
    const size_t nLine = static_cast<size_t>(m_nColumns * m_nGroup);
    for (size_t i = 0; i < bytes.size(); ++i)
    {
        if (i > 0)
            strText += i % nLine == 0
                           ? QStringLiteral("\n")
                           : (i % static_cast<size_t>(m_nGroup) == 0 ? QStringLiteral(" ") : QString());
        strText += QStringLiteral("%1").arg(bytes[i], 2, 16, QLatin1Char('0')).toUpper();
    }
    setPlainText(strText);
}

std::vector<uint8_t> CHexEditor::Bytes() const
{
    return ParsePacketListLine(toPlainText());
}

QSize CHexEditor::SizeForLines(int nLines) const
{
    const QFontMetrics metrics(font());
    const int nChars = m_nColumns * (2 * m_nGroup + 1);
    return QSize(metrics.horizontalAdvance(QLatin1Char('0')) * nChars + 2 * frameWidth() + 24,
                 metrics.lineSpacing() * nLines + 2 * frameWidth() + 10);
}

void CHexEditor::keyPressEvent(QKeyEvent* pEvent)
{
    if (pEvent->key() == Qt::Key_Return || pEvent->key() == Qt::Key_Enter)
    {
        emit EnterPressed();
        return;
    }
    QPlainTextEdit::keyPressEvent(pEvent);
}

// --- CPacketGrid -----------------------------------------------------------------------------------

CPacketGrid::CPacketGrid(QWidget* pParent) : CGridCtrl(pParent), m_pPacket(new CRIOPacket)
{
    m_pPacket->SetLayoutCallback(this, &CPacketGrid::LayoutChanged);
    m_pPacket->SetFieldCallback(this, &CPacketGrid::FieldChanged);
}

CPacketGrid::~CPacketGrid()
{
    m_pPacket->SetLayoutCallback(nullptr, nullptr);
    m_pPacket->SetFieldCallback(nullptr, nullptr);
}

void CPacketGrid::LayoutChanged(void* pArg)
{
    static_cast<CPacketGrid*>(pArg)->Rebuild();
}

void CPacketGrid::FieldChanged(void* pArg, uint32_t)
{
    static_cast<CPacketGrid*>(pArg)->Rebuild();
}

// --- IDT_Gen2_PacketGenGrid ------------------------------------------------------------------------

IDT_Gen2_PacketGenGrid::IDT_Gen2_PacketGenGrid(QWidget* pParent) : CPacketGrid(pParent)
{
    // The packet tells of its changes only once this grid can show them.
    m_pPacket->SetTypeAndIDSize(8, 0);
    connect(this, &CGridCtrl::CellEdited, this, &IDT_Gen2_PacketGenGrid::OnEdited);
    connect(this, &CGridCtrl::OptionChosen, this, &IDT_Gen2_PacketGenGrid::OnOption);
    connect(this, &CGridCtrl::CellDoubleClicked, this, &IDT_Gen2_PacketGenGrid::OnDoubleClick);
    Rebuild();
}

void IDT_Gen2_PacketGenGrid::Rebuild()
{
    if (m_bRebuilding)
        return;
    m_bRebuilding = true;
    CRIOPacket& packet = *m_pPacket;
    const int nFields = packet.GetFieldCount();
    BeginUpdate();
    ClearAll();
    SetShape(nFields, 1, 1);
    SetRowHeading(0, QStringLiteral("Value"));
    for (int i = 0; i < nFields; ++i)
    {
        CRIOPacketField& field = *packet.GetField(i);
        SetHeading(0, i, FieldHeadingText(field));
        SetColumnWidth(i, static_cast<int>(field.nColumnWidth));
        SetColumnHeadingColour(i, GridColourFromRef(field.crColour));
        SGridCell cell;
        cell.strText = FieldValueText(field);
        cell.bReadOnly = cell.strText == QStringLiteral("See below");
        cell.crBackground = field.IsValueValid() ? QColor(Qt::white) : GridColourFromRef(255);
        if (field.HasToolTip())
            field.GetToolTip(cell.strToolTip);
        if (field.HasOptions())
        {
            cell.eKind = EGridCellKind::eDropList;
            cell.options = FieldOptions(field, &cell.iSelected);
        }
        SetCell(0, i, cell);
        if (!cell.strToolTip.isEmpty())
            SetColumnToolTip(i, cell.strToolTip);
    }
    EndUpdate();
    // As tall as its rows, with room for its scroll bar.
    setFixedHeight(FullSize().height() + horizontalScrollBar()->sizeHint().height() + 2);
    m_bRebuilding = false;
    emit PacketChanged();
}

void IDT_Gen2_PacketGenGrid::OnEdited(int, int iColumn, const QString& strText)
{
    CRIOPacketField* pField = m_pPacket->GetField(iColumn);
    if (pField)
        SetFieldFromCellText(*pField, strText);
    Rebuild();
}

void IDT_Gen2_PacketGenGrid::OnOption(int, int iColumn, int iIndex)
{
    if (CRIOPacketField* pField = m_pPacket->GetField(iColumn))
        pField->SelectOption(iIndex);
    Rebuild();
}

void IDT_Gen2_PacketGenGrid::OnDoubleClick(int, int iColumn)
{
    const CRIOPacketField* pField = m_pPacket->GetField(iColumn);
    if (pField && (pField->nFieldID == eRIOFieldCRC || pField->nFieldID == eRIOFieldEARLYCRC))
    {
        m_pPacket->UpdateCRC(false);
        m_pPacket->PackStream();
        Rebuild();
    }
}

// --- CIDT_Gen2_PacketGenDlg ------------------------------------------------------------------------

CIDT_Gen2_PacketGenDlg* CIDT_Gen2_PacketGenDlg::Instance()
{
    return s_pInstance;
}

CIDT_Gen2_PacketGenDlg* CIDT_Gen2_PacketGenDlg::Open(CNetworkDocument& document, int iNode, QWidget* pParent)
{
    const CPEPrimitive* pPE = document.pCurrentPEs->GetByNodeNumber(iNode);
    if (!pPE || !IsGen2ToolSwitch(pPE->ManufID, pPE->DeviceID))
        return nullptr;
    if (!s_pInstance)
        s_pInstance = new CIDT_Gen2_PacketGenDlg(document, iNode, pParent);
    else
        s_pInstance->Retarget(iNode);
    s_pInstance->show();
    s_pInstance->raise();
    s_pInstance->activateWindow();
    return s_pInstance;
}

CIDT_Gen2_PacketGenDlg::CIDT_Gen2_PacketGenDlg(CNetworkDocument& document, int iNode, QWidget* pParent)
    : QWidget(pParent, Qt::Window), m_access(document, iNode), m_generator(m_access)
{
    setWindowTitle(QStringLiteral("Packet Generation and Capture"));
    setAttribute(Qt::WA_DeleteOnClose, false);
    const auto button = [this](const QString& strText, void (CIDT_Gen2_PacketGenDlg::*pfn)())
    {
        QPushButton* pButton = new QPushButton(strText, this);
        connect(pButton, &QPushButton::clicked, this, pfn);
        m_buttons.push_back(pButton);
        return pButton;
    };

    // The packet in hand.
    m_pGrid = new IDT_Gen2_PacketGenGrid(this);
    m_pAutoCrc = new QCheckBox(QStringLiteral("Update CRC Automatically"), this);
    m_pAutoCrc->setChecked(true);
    connect(m_pAutoCrc, &QCheckBox::toggled, this,
            [this](bool bOn)
            {
                m_generator.SetAutoCRC(bOn);
                Packet().SetAutoCRC(bOn);
                m_pGrid->Rebuild();
            });
    m_pAddressBits = new QButtonGroup(this);
    QHBoxLayout* pBitsRow = new QHBoxLayout;
    pBitsRow->addWidget(m_pAutoCrc);
    pBitsRow->addStretch(1);
    pBitsRow->addWidget(new QLabel(QStringLiteral("Address Size:"), this));
    for (int nBits : {34, 50, 66})
    {
        QRadioButton* pRadio = new QRadioButton(QStringLiteral("%1 Bits").arg(nBits), this);
        m_pAddressBits->addButton(pRadio, nBits);
        pBitsRow->addWidget(pRadio);
    }
    m_pAddressBits->button(34)->setChecked(true);
    connect(m_pAddressBits, &QButtonGroup::idClicked, this,
            [this](int nBits)
            {
                m_generator.Settings().nAddressBits = nBits;
                Packet().SetAddressBits(static_cast<uint32_t>(nBits));
            });

    // Raw and data editors.
    m_pRaw = new CHexEditor(8, 4, this);
    m_pRaw->setMinimumSize(m_pRaw->SizeForLines(4));
    connect(m_pRaw, &CHexEditor::EnterPressed, this, &CIDT_Gen2_PacketGenDlg::UpdateFromRaw);
    QGroupBox* pRawBox = new QGroupBox(QStringLiteral("Raw Packet"), this);
    QVBoxLayout* pRawLayout = new QVBoxLayout(pRawBox);
    pRawLayout->addWidget(m_pRaw, 1);
    QHBoxLayout* pRawButtons = new QHBoxLayout;
    pRawButtons->addStretch(1);
    pRawButtons->addWidget(button(QStringLiteral("Update Packet"), &CIDT_Gen2_PacketGenDlg::UpdateFromRaw));
    pRawLayout->addLayout(pRawButtons);

    m_pData = new CHexEditor(8, 4, this);
    m_pData->setMinimumSize(m_pData->SizeForLines(4));
    connect(m_pData, &CHexEditor::EnterPressed, this, &CIDT_Gen2_PacketGenDlg::UpdateFromData);
    m_pDataLabel = new QLabel(QStringLiteral("Packet Data:"), this);
    m_pFill = new QLineEdit(this);
    m_pFill->setPlaceholderText(QStringLiteral("pattern, such as A5 5A"));
    m_pRandomize = button(QStringLiteral("Randomize"), &CIDT_Gen2_PacketGenDlg::Randomize);
    m_pFillButton = button(QStringLiteral("Fill with >>>"), &CIDT_Gen2_PacketGenDlg::Fill);
    m_pDataUpdate = button(QStringLiteral("Update Packet"), &CIDT_Gen2_PacketGenDlg::UpdateFromData);
    QGroupBox* pDataBox = new QGroupBox(QStringLiteral("Data"), this);
    QVBoxLayout* pDataLayout = new QVBoxLayout(pDataBox);
    pDataLayout->addWidget(m_pDataLabel);
    pDataLayout->addWidget(m_pData, 1);
    QHBoxLayout* pDataButtons = new QHBoxLayout;
    pDataButtons->addWidget(m_pRandomize);
    pDataButtons->addWidget(m_pFillButton);
    pDataButtons->addWidget(m_pFill, 1);
    pDataButtons->addWidget(m_pDataUpdate);
    pDataLayout->addLayout(pDataButtons);

    // The packet list.
    m_pList = new QListWidget(this);
    m_pList->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_pList->setSelectionMode(QAbstractItemView::ExtendedSelection);
    connect(m_pList, &QListWidget::itemSelectionChanged, this, &CIDT_Gen2_PacketGenDlg::RefreshButtons);
    connect(m_pList, &QListWidget::itemDoubleClicked, this, [this](QListWidgetItem*) { EditSelected(); });
    QGroupBox* pListBox = new QGroupBox(QStringLiteral("Packet List"), this);
    QGridLayout* pListLayout = new QGridLayout(pListBox);
    pListLayout->addWidget(m_pList, 0, 0, 9, 1);
    int nRow = 0;
    for (const auto& [pszText, pfn] : std::vector<std::pair<const char*, void (CIDT_Gen2_PacketGenDlg::*)()>>{
             {"Add to Packet List", &CIDT_Gen2_PacketGenDlg::AddToList},
             {"Update Packet List", &CIDT_Gen2_PacketGenDlg::UpdateList},
             {"Edit", &CIDT_Gen2_PacketGenDlg::EditSelected},
             {"Move Up", &CIDT_Gen2_PacketGenDlg::MoveUp},
             {"Move Down", &CIDT_Gen2_PacketGenDlg::MoveDown},
             {"Delete", &CIDT_Gen2_PacketGenDlg::DeleteSelected},
             {"Open", &CIDT_Gen2_PacketGenDlg::OpenFile},
             {"Save", &CIDT_Gen2_PacketGenDlg::SaveFile}})
    {
        pListLayout->addWidget(button(QString::fromLatin1(pszText), pfn), nRow++, 1);
    }
    pListLayout->setRowStretch(8, 1);
    pListLayout->setColumnStretch(0, 1);

    // Scenario, flow and ports.
    QGroupBox* pSendBox = new QGroupBox(QStringLiteral("Send"), this);
    QGridLayout* pSendLayout = new QGridLayout(pSendBox);
    m_pScenario = new QButtonGroup(this);
    for (int nScenario : {1, 2})
    {
        QRadioButton* pRadio = new QRadioButton(QStringLiteral("Scenario %1").arg(nScenario), this);
        m_pScenario->addButton(pRadio, nScenario);
        pSendLayout->addWidget(pRadio, 0, nScenario - 1);
    }
    m_pScenario->button(1)->setChecked(true);
    connect(m_pScenario, &QButtonGroup::idClicked, this,
            [this](int nScenario)
            {
                m_generator.Settings().nScenario = nScenario;
                m_pTest->setEnabled(nScenario == 2);
            });
    m_pFlow = new QComboBox(this);
    m_pFlow->addItems(PacketGenFlowNames());
    m_pFlow->setCurrentIndex(-1);
    m_pStart = new QComboBox(this);
    m_pEnd = new QComboBox(this);
    m_pTest = new QComboBox(this);
    m_pTest->setEnabled(false);
    int nChoiceRow = 1;
    for (const auto& [pszLabel, pBox] : std::vector<std::pair<const char*, QComboBox*>>{
             {"Flow Type", m_pFlow}, {"Start Port", m_pStart}, {"End Port", m_pEnd}, {"Test Port", m_pTest}})
    {
        pSendLayout->addWidget(new QLabel(QString::fromLatin1(pszLabel) + QLatin1Char(':'), this), nChoiceRow,
                               0);
        pSendLayout->addWidget(pBox, nChoiceRow++, 1);
    }
    QPushButton* pSend = button(QStringLiteral("Send Packet"), &CIDT_Gen2_PacketGenDlg::SendPacket);
    pSend->setDefault(true);
    pSendLayout->addWidget(pSend, nChoiceRow++, 0, 1, 2);
    pSendLayout->setRowStretch(nChoiceRow, 1);

    QGridLayout* pLayout = new QGridLayout(this);
    pLayout->addWidget(m_pGrid, 0, 0, 1, 2);
    pLayout->addLayout(pBitsRow, 1, 0, 1, 2);
    pLayout->addWidget(pRawBox, 2, 0);
    pLayout->addWidget(pDataBox, 2, 1);
    pLayout->addWidget(pListBox, 3, 0);
    pLayout->addWidget(pSendBox, 3, 1);
    pLayout->setRowStretch(3, 1);
    pLayout->setColumnStretch(0, 3);
    pLayout->setColumnStretch(1, 2);

    connect(m_pGrid, &IDT_Gen2_PacketGenGrid::PacketChanged, this, &CIDT_Gen2_PacketGenDlg::Refresh);
    Retarget(iNode);
    Refresh();
    RefreshButtons();
    resize(1100, 720);
}

CIDT_Gen2_PacketGenDlg::~CIDT_Gen2_PacketGenDlg()
{
    if (s_pInstance == this)
        s_pInstance = nullptr;
}

QRadioButton* CIDT_Gen2_PacketGenDlg::ScenarioButton(int nScenario) const
{
    return qobject_cast<QRadioButton*>(m_pScenario->button(nScenario));
}

QRadioButton* CIDT_Gen2_PacketGenDlg::AddressBitsButton(int nBits) const
{
    return qobject_cast<QRadioButton*>(m_pAddressBits->button(nBits));
}

QPushButton* CIDT_Gen2_PacketGenDlg::Button(const QString& strText) const
{
    for (QPushButton* pButton : m_buttons)
    {
        if (pButton->text() == strText)
            return pButton;
    }
    return nullptr;
}

void CIDT_Gen2_PacketGenDlg::Retarget(int iNode)
{
    m_access.SetNode(iNode);
    m_generator.SetAccess(m_access);
    const int nPorts = m_access.NumPorts();
    for (QComboBox* pBox : {m_pStart, m_pEnd, m_pTest})
    {
        pBox->clear();
        for (int p = 0; p < nPorts; ++p)
            pBox->addItem(QStringLiteral("Port %1").arg(p));
        pBox->setCurrentIndex(-1);
    }
}

void CIDT_Gen2_PacketGenDlg::Refresh()
{
    std::vector<uint8_t> stream;
    Packet().GetStream(stream);
    m_pRaw->SetBytes(stream);
    std::vector<uint8_t> data;
    const bool bData = Packet().GetData(data) && data.size() >= 5;
    for (QWidget* pWidget : std::initializer_list<QWidget*>{m_pData, m_pDataLabel, m_pRandomize,
                                                            m_pFillButton, m_pFill, m_pDataUpdate})
    {
        pWidget->setVisible(bData);
    }
    if (bData)
        m_pData->SetBytes(data);
}

void CIDT_Gen2_PacketGenDlg::RefreshList(int nSelect)
{
    m_pList->clear();
    for (int i = 0; i < m_generator.List().Count(); ++i)
    {
        QListWidgetItem* pItem = new QListWidgetItem(m_generator.List().Entry(i).strText, m_pList);
        pItem->setData(Qt::UserRole, m_generator.List().Entry(i).nID);
    }
    if (nSelect >= 0 && nSelect < m_pList->count())
        m_pList->setCurrentRow(nSelect);
    RefreshButtons();
}

void CIDT_Gen2_PacketGenDlg::RefreshButtons()
{
    const bool bSelected = !m_pList->selectedItems().isEmpty();
    for (const char* pszText : {"Edit", "Move Up", "Move Down", "Delete"})
        Button(QString::fromLatin1(pszText))->setEnabled(bSelected);
}

int CIDT_Gen2_PacketGenDlg::SelectedRow() const
{
    const QList<QListWidgetItem*> items = m_pList->selectedItems();
    return items.isEmpty() ? -1 : m_pList->row(items.first());
}

void CIDT_Gen2_PacketGenDlg::UpdateFromRaw()
{
    const std::vector<uint8_t> bytes = m_pRaw->Bytes();
    Packet().LoadStream(bytes.data(), static_cast<uint32_t>(bytes.size()));
    m_pGrid->Rebuild();
}

void CIDT_Gen2_PacketGenDlg::UpdateFromData()
{
    std::vector<uint8_t> bytes = m_pData->Bytes();
    std::vector<uint8_t> old;
    Packet().GetData(old);
    bytes.resize(old.size(), 0);
    Packet().SetData(bytes.data(), nullptr, static_cast<uint32_t>(bytes.size()));
    m_pGrid->Rebuild();
}

void CIDT_Gen2_PacketGenDlg::Randomize()
{
    std::vector<uint8_t> data;
    if (!Packet().GetData(data))
        return;
    for (uint8_t& b : data)
        b = static_cast<uint8_t>(std::rand());
    m_pData->SetBytes(data);
    UpdateFromData();
}

void CIDT_Gen2_PacketGenDlg::Fill()
{
    QString strText = m_pFill->text();
    if (strText.isEmpty())
        return;
    if (strText.size() == 1)
        strText.prepend(QLatin1Char('0'));
    const std::vector<uint8_t> pattern = ParsePacketListLine(strText.toUpper());
    QString strShown;
    for (uint8_t b : pattern)
        strShown += QStringLiteral("%1 ").arg(b, 2, 16, QLatin1Char('0')).toUpper();
    m_pFill->setText(strShown);
    std::vector<uint8_t> data;
    if (pattern.empty() || !Packet().GetData(data))
        return;
    for (size_t i = 0; i < data.size(); ++i)
        data[i] = pattern[i % pattern.size()];
    m_pData->SetBytes(data);
    UpdateFromData();
}

void CIDT_Gen2_PacketGenDlg::AddToList()
{
    m_generator.AddToList(Packet());
    RefreshList(m_generator.List().Count() - 1);
}

void CIDT_Gen2_PacketGenDlg::UpdateList()
{
    const int nRow = SelectedRow();
    m_generator.UpdateList(Packet());
    const int nIndex = m_generator.List().IndexOf(m_generator.List().CurrentPacketID());
    RefreshList(nIndex >= 0 ? nIndex : nRow);
}

void CIDT_Gen2_PacketGenDlg::EditSelected()
{
    const int nRow = SelectedRow();
    if (nRow < 0)
        return;
    m_generator.EditLine(nRow, Packet());
    m_pGrid->Rebuild();
}

void CIDT_Gen2_PacketGenDlg::MoveUp()
{
    const int nRow = SelectedRow();
    if (!m_generator.List().MoveUp(nRow))
    {
        UI().Beep();
        return;
    }
    RefreshList(nRow - 1);
}

void CIDT_Gen2_PacketGenDlg::MoveDown()
{
    const int nRow = SelectedRow();
    if (!m_generator.List().MoveDown(nRow))
    {
        UI().Beep();
        return;
    }
    RefreshList(nRow + 1);
}

void CIDT_Gen2_PacketGenDlg::DeleteSelected()
{
    const int nRow = SelectedRow();
    if (nRow < 0)
        return;
    RefreshList(m_generator.List().Delete(nRow));
}

void CIDT_Gen2_PacketGenDlg::TakeChoices()
{
    SPacketGenSettings& settings = m_generator.Settings();
    settings.nFlow = m_pFlow->currentIndex();
    settings.nStartPort = m_pStart->currentIndex();
    settings.nEndPort = m_pEnd->currentIndex();
    settings.nTestPort = m_pTest->currentIndex();
    settings.nScenario = m_pScenario->checkedId();
    settings.nAddressBits = m_pAddressBits->checkedId();
}

void CIDT_Gen2_PacketGenDlg::SendPacket()
{
    TakeChoices();
    UI().SetBusy(true);
    const int nBefore = m_generator.List().Count();
    m_generator.Send(&Packet());
    UI().SetBusy(false);
    m_pGrid->Rebuild();
    RefreshList(m_generator.List().Count() > nBefore ? m_generator.List().Count() - 1 : SelectedRow());
}

void CIDT_Gen2_PacketGenDlg::OpenFile()
{
    const QString strPath = UI().ChooseFile(false, QStringLiteral("Open"), QString::fromLatin1(kOpenFilter),
                                            QStringLiteral("*.txt"));
    if (strPath.isEmpty())
        return;
    if (m_generator.OpenFile(strPath))
        RefreshList(-1);
}

void CIDT_Gen2_PacketGenDlg::SaveFile()
{
    std::vector<int> selected;
    for (QListWidgetItem* pItem : m_pList->selectedItems())
        selected.push_back(m_pList->row(pItem));
    QStringList lines;
    if (!m_generator.LinesToSave(selected, &lines))
        return;
    const QString strPath = UI().ChooseFile(true, QStringLiteral("Save As"), QString::fromLatin1(kNpfFilter),
                                            QStringLiteral("*.npf"));
    if (strPath.isEmpty())
        return;
    // The default extension.
    m_generator.SaveFile(QFileInfo(strPath).suffix().isEmpty() ? strPath + QStringLiteral(".npf") : strPath,
                         lines);
}

void InstallPacketGenCommands(CMainFrameCore& frame, QWidget* pParent)
{
    frame.SetCommandHandler(eCmdPacketGenerator, [&frame, pParent](const SCommandContext& context)
                            { CIDT_Gen2_PacketGenDlg::Open(frame.Document(), context.iNode, pParent); });
}

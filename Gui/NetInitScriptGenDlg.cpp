#include "NetInitScriptGenDlg.h"

#include "EepromImage.h"
#include "EepromTypeSelectDlg.h"
#include "FFRoutes.h"
#include "NetworkDocument.h"
#include "Preferences.h"
#include "RegisterAccess.h"
#include "RegisterValueFile.h"
#include "SRecord.h"
#include "SafeFile.h"
#include "UserInterface.h"

#include <QApplication>
#include <QBuffer>
#include <QCheckBox>
#include <QComboBox>
#include <QFileInfo>
#include <QFontDatabase>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSplitter>
#include <QTabWidget>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace
{
// A register group is checked when any register below it is: the generator walks groups whatever
// their check, so theirs only tells the person what lies below.
bool CheckGroups(SInitTreeItem& item)
{
    bool bAny = item.eKind == eInitItemRegister && item.bChecked;
    for (SInitTreeItem& child : item.children)
    {
        bAny = CheckGroups(child) || bAny;
    }
    if (item.eKind == eInitItemRegisters || item.eKind == eInitItemRegisterGroup)
    {
        item.bChecked = bAny;
    }
    return bAny;
}

const char* const kScriptFilter = "Text File (*.txt)|*.txt|All Files|*.*||";
const char* const kHeaderFilter = "Header File (*.h)|*.h|All Files|*.*||";
const char* const kValuesFilter =
    "CSV File (*.csv)|*.csv|IDT Script File (*.txt)|*.txt|S-Record File (*.sre)|*.sre||";
constexpr int kTabScript = 0;
constexpr int kTabErrors = 1;

QString PaneText(QString strText)
{
    strText.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    return strText;
}

QPlainTextEdit* MakePane(QWidget* pParent)
{
    auto* pPane = new QPlainTextEdit(pParent);
    pPane->setReadOnly(true);
    pPane->setLineWrapMode(QPlainTextEdit::NoWrap);
    pPane->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    pPane->setTabStopDistance(4 * pPane->fontMetrics().horizontalAdvance(QLatin1Char(' ')));
    return pPane;
}

// The node the generator starts from unless the person says otherwise: the PE of the open link,
// or else the first endpoint of the map.
int DefaultHostNode(const CNetworkDocument& map)
{
    if (const CPEPrimitive* pHost = MapHostPE(map))
    {
        return pHost->iNodeNumber;
    }
    for (const auto& pPE : *map.pCurrentPEs)
    {
        if (!pPE->bDeleted && (pPE->uType & (kPETypeBridge | kPETypeMemory | kPETypeProcessor)) &&
            !(pPE->uType & (kPETypeUnknown | kPETypeNull)))
        {
            return pPE->iNodeNumber;
        }
    }
    return -1;
}
} // namespace

CNetInitScriptGenDlg::CNetInitScriptGenDlg(CNetworkDocument& map, QWidget* pParent)
    : QDialog(pParent), m_map(map), m_gen(map)
{
    setWindowTitle(QStringLiteral("Network Initialization Script Generator"));
    m_gen.BuildTree();
    BuildWindow();
    const int iHost = DefaultHostNode(map);
    if (iHost >= 0)
    {
        m_pHost->setText(QString::number(iHost + 1));
    }
}

CNetInitScriptGenDlg::CNetInitScriptGenDlg(CNetworkDocument& map, CPEPrimitive& pe, QWidget* pParent)
    : QDialog(pParent), m_map(map), m_pRegisterPE(&pe), m_gen(map)
{
    setWindowTitle(QStringLiteral("Save Register Values"));
    m_gen.BuildTree();
    // Only the PE's registers go into its value file.
    std::vector<SInitTreeItem>& tree = m_gen.Tree();
    std::erase_if(tree, [&pe](const SInitTreeItem& item) { return item.iNode != pe.iNodeNumber; });
    for (SInitTreeItem& node : tree)
    {
        std::erase_if(node.children,
                      [](const SInitTreeItem& item) { return item.eKind != eInitItemRegisters; });
    }
    BuildWindow();
    // The host is the PE, without comments and with the tables pre-initialised; the file's name
    // gives the format. Only the choice of read-only registers is the person's.
    m_pHost->setText(QString::number(pe.iNodeNumber + 1));
    m_pComments->setChecked(false);
    m_pPreInit->setChecked(true);
    m_pComments->hide();
    m_pPreInit->hide();
    m_pForm->setRowVisible(m_pHost, false);
    m_pForm->setRowVisible(m_pFormat, false);
    m_pNote->setText(
        QStringLiteral("The checked registers of Node %1 with their values. The file's extension "
                       "gives its format: .csv, .txt (IDT script) or .sre (S-Records).")
            .arg(pe.iNodeNumber + 1));
    m_pNote->show();
    m_pGenerate->hide();
    m_pSave->setText(QStringLiteral("Save Register Values"));
    m_pSave->setDefault(true);
    connect(m_pExcludeRO, &QCheckBox::toggled, this, &CNetInitScriptGenDlg::PreviewRegisterValues);
    connect(m_pTree, &QTreeWidget::itemChanged, this, &CNetInitScriptGenDlg::PreviewRegisterValues);
    PreviewRegisterValues();
    if (QTreeWidgetItem* pNode = NodeItem(pe.iNodeNumber))
    {
        pNode->setExpanded(true);
        for (int i = 0; i < pNode->childCount(); ++i)
        {
            pNode->child(i)->setExpanded(true);
        }
    }
}

CNetInitScriptGenDlg::CNetInitScriptGenDlg(CNetworkDocument& map, CPEPrimitive& pe, SEepromImageUse,
                                           QWidget* pParent)
    : QDialog(pParent), m_map(map), m_pRegisterPE(&pe), m_bEepromImage(true), m_gen(map)
{
    setWindowTitle(QStringLiteral("EEPROM Device Initialization Image"));
    m_gen.BuildTree();
    // The image holds the PE's own initialisation.
    std::erase_if(m_gen.Tree(), [&pe](const SInitTreeItem& item) { return item.iNode != pe.iNodeNumber; });
    BuildWindow();
    m_pHost->setText(QString::number(pe.iNodeNumber + 1));
    m_pComments->setChecked(false);
    m_pPreInit->setChecked(true);
    m_pComments->hide();
    m_pPreInit->hide();
    m_pForm->setRowVisible(m_pHost, false);
    m_pForm->setRowVisible(m_pFormat, false);
    m_pNote->setText(QStringLiteral("The checked items of Node %1 become register writes in its boot EEPROM "
                                    "image; the device's image plug-in lays them out.")
                         .arg(pe.iNodeNumber + 1));
    m_pNote->show();
    m_pSave->setText(QStringLiteral("Save EEPROM Image"));
    if (QTreeWidgetItem* pNode = NodeItem(pe.iNodeNumber))
    {
        pNode->setExpanded(true);
    }
}

CNetInitScriptGenDlg::~CNetInitScriptGenDlg() = default;

void CNetInitScriptGenDlg::BuildWindow()
{
    auto* pLayout = new QVBoxLayout(this);
    auto* pSplitter = new QSplitter(Qt::Horizontal, this);
    m_pTree = new QTreeWidget(pSplitter);
    m_pTree->setHeaderHidden(true);
    m_pTree->setUniformRowHeights(true);
    m_pTree->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    m_pTree->header()->setStretchLastSection(false);
    m_pTabs = new QTabWidget(pSplitter);
    m_pScript = MakePane(m_pTabs);
    m_pErrors = MakePane(m_pTabs);
    // Errors are sentences: they wrap. Script lines are records: they don't.
    m_pErrors->setLineWrapMode(QPlainTextEdit::WidgetWidth);
    m_pTabs->insertTab(kTabScript, m_pScript, QStringLiteral("Script"));
    m_pTabs->insertTab(kTabErrors, m_pErrors, QStringLiteral("Errors"));
    pSplitter->addWidget(m_pTree);
    pSplitter->addWidget(m_pTabs);
    pSplitter->setStretchFactor(0, 2);
    pSplitter->setStretchFactor(1, 3);
    pSplitter->setChildrenCollapsible(false);
    pLayout->addWidget(pSplitter, 1);

    auto* pOptions = new QGroupBox(QStringLiteral("Options"), this);
    auto* pOptionsLayout = new QVBoxLayout(pOptions);
    auto* pChecks = new QHBoxLayout;
    m_pComments = new QCheckBox(QStringLiteral("Include comments"), pOptions);
    m_pComments->setChecked(true);
    m_pPreInit = new QCheckBox(QStringLiteral("Pre-initialize Routing Tables"), pOptions);
    m_pExcludeRO = new QCheckBox(QStringLiteral("Exclude read-only registers"), pOptions);
    pChecks->addWidget(m_pComments);
    pChecks->addWidget(m_pPreInit);
    pChecks->addWidget(m_pExcludeRO);
    pChecks->addStretch(1);
    pOptionsLayout->addLayout(pChecks);
    m_pNote = new QLabel(pOptions);
    m_pNote->setWordWrap(true);
    m_pNote->hide();
    pOptionsLayout->addWidget(m_pNote);
    auto* pForm = new QFormLayout;
    m_pForm = pForm;
    pForm->setFieldGrowthPolicy(QFormLayout::FieldsStayAtSizeHint);
    m_pHost = new QLineEdit(pOptions);
    m_pHost->setMaximumWidth(m_pHost->fontMetrics().horizontalAdvance(QStringLiteral("00000000")) + 16);
    pForm->addRow(QStringLiteral("Which node will be the initialization host?"), m_pHost);
    m_pFormat = new QComboBox(pOptions);
    m_pFormat->addItem(QStringLiteral("Norvanta Script Format"), eInitFormatScript);
    m_pFormat->addItem(QStringLiteral("C/C++ Header (for Norvanta MiddleWare"), eInitFormatHeader);
    pForm->addRow(QStringLiteral("Format:"), m_pFormat);
    pOptionsLayout->addLayout(pForm);
    pLayout->addWidget(pOptions);

    auto* pButtons = new QHBoxLayout;
    m_pGenerate = new QPushButton(QStringLiteral("Generate"), this);
    m_pSave = new QPushButton(QStringLiteral("Save Script"), this);
    m_pCopy = new QPushButton(QStringLiteral("Copy to Clipboard"), this);
    auto* pClose = new QPushButton(QStringLiteral("Close"), this);
    m_pGenerate->setDefault(true);
    pButtons->addStretch(1);
    for (QPushButton* pButton : {m_pGenerate, m_pSave, m_pCopy, pClose})
    {
        pButtons->addWidget(pButton);
    }
    pLayout->addLayout(pButtons);
    connect(m_pGenerate, &QPushButton::clicked, this, [this] { OnGenerate(); });
    connect(m_pSave, &QPushButton::clicked, this,
            [this]
            {
                if (MakesEepromImage())
                {
                    OnSaveEepromImage();
                }
                else
                {
                    SavesRegisterValues() ? OnSaveRegisterValues() : OnSaveScript();
                }
            });
    connect(m_pCopy, &QPushButton::clicked, this, &CNetInitScriptGenDlg::OnCopyToClipboard);
    connect(pClose, &QPushButton::clicked, this, &QDialog::reject);
    connect(m_pTree, &QTreeWidget::itemExpanded, this, &CNetInitScriptGenDlg::Populate);
    connect(m_pTree, &QTreeWidget::itemChanged, this, &CNetInitScriptGenDlg::OnItemChanged);

    BuildTree();
    const int iChar = m_pScript->fontMetrics().horizontalAdvance(QLatin1Char('0'));
    // The script pane shows a whole ROUTE line; the tree a register's name.
    resize(std::max(1040, 100 * iChar + 420), 680);
    pSplitter->setSizes({420, width() - 420});
}

void CNetInitScriptGenDlg::BuildTree()
{
    for (SInitTreeItem& node : m_gen.Tree())
    {
        CheckGroups(node);
    }
    m_pTree->clear();
    m_items.clear();
    m_bShowingChecks = true;
    for (SInitTreeItem& node : m_gen.Tree())
    {
        AddItem(nullptr, node);
    }
    m_bShowingChecks = false;
}

QTreeWidgetItem* CNetInitScriptGenDlg::AddItem(QTreeWidgetItem* pParent, SInitTreeItem& item)
{
    auto* pItem = pParent ? new QTreeWidgetItem(pParent) : new QTreeWidgetItem(m_pTree);
    pItem->setText(0, item.strText);
    pItem->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsUserCheckable);
    pItem->setCheckState(0, item.bChecked ? Qt::Checked : Qt::Unchecked);
    // Children are made when the item is opened: a large map has registers by the hundred thousand.
    pItem->setChildIndicatorPolicy(item.children.empty() ? QTreeWidgetItem::DontShowIndicator
                                                         : QTreeWidgetItem::ShowIndicator);
    // A node says what it is, as the browser beside the map does: its name there, or its kind.
    if (item.eKind == eInitItemNode)
    {
        if (const CPEPrimitive* pPE = m_map.pCurrentPEs->GetByNodeNumber(item.iNode))
        {
            pItem->setText(0, QStringLiteral("%1 (%2)").arg(item.strText, pPE->CommonName.isEmpty()
                                                                              ? pPE->GetTypeString()
                                                                              : pPE->CommonName));
        }
    }
    m_items.insert(pItem, &item);
    return pItem;
}

void CNetInitScriptGenDlg::Populate(QTreeWidgetItem* pItem)
{
    SInitTreeItem* pModel = ModelItem(pItem);
    if (!pModel || pItem->childCount() != 0 || pModel->children.empty())
    {
        return;
    }
    const bool bShowing = m_bShowingChecks;
    m_bShowingChecks = true;
    for (SInitTreeItem& child : pModel->children)
    {
        AddItem(pItem, child);
    }
    m_bShowingChecks = bShowing;
}

QTreeWidgetItem* CNetInitScriptGenDlg::NodeItem(int iNode) const
{
    for (int i = 0; i < m_pTree->topLevelItemCount(); ++i)
    {
        QTreeWidgetItem* pItem = m_pTree->topLevelItem(i);
        const SInitTreeItem* pModel = ModelItem(pItem);
        if (pModel && pModel->iNode == iNode)
        {
            return pItem;
        }
    }
    return nullptr;
}

SInitTreeItem* CNetInitScriptGenDlg::ModelItem(const QTreeWidgetItem* pItem) const
{
    return m_items.value(pItem, nullptr);
}

void CNetInitScriptGenDlg::OnItemChanged(QTreeWidgetItem* pItem, int iColumn)
{
    SInitTreeItem* pModel = ModelItem(pItem);
    if (m_bShowingChecks || iColumn != 0 || !pModel)
    {
        return;
    }
    const bool bChecked = pItem->checkState(0) == Qt::Checked;
    if (bChecked == pModel->bChecked)
    {
        return;
    }
    // A click rolls down to everything below the item.
    pModel->SetChecked(bChecked);
    m_bShowingChecks = true;
    ShowChecks(pItem);
    m_bShowingChecks = false;
}

void CNetInitScriptGenDlg::ShowChecks(QTreeWidgetItem* pItem)
{
    for (int i = 0; i < pItem->childCount(); ++i)
    {
        QTreeWidgetItem* pChild = pItem->child(i);
        if (const SInitTreeItem* pModel = ModelItem(pChild))
        {
            pChild->setCheckState(0, pModel->bChecked ? Qt::Checked : Qt::Unchecked);
        }
        ShowChecks(pChild);
    }
}

void CNetInitScriptGenDlg::TakeOptions()
{
    m_gen.bComments = m_pComments->isChecked();
    m_gen.bPreInitRT = m_pPreInit->isChecked();
    m_gen.bExcludeRO = m_pExcludeRO->isChecked();
    m_gen.eFormat = m_pFormat->currentData().toInt();
}

void CNetInitScriptGenDlg::ShowTexts()
{
    m_eShownFormat = m_gen.eFormat;
    m_pScript->setPlainText(PaneText(m_gen.ScriptText()));
    m_pErrors->setPlainText(PaneText(m_gen.ErrorsText()));
    m_pTabs->setCurrentIndex(m_gen.ShowErrorsTab() ? kTabErrors : kTabScript);
}

bool CNetInitScriptGenDlg::OnGenerate()
{
    TakeOptions();
    UI().SetBusy(true);
    const bool bOk = m_gen.Generate(m_pHost->text());
    UI().SetBusy(false);
    if (bOk)
    {
        ShowTexts();
    }
    return bOk;
}

bool CNetInitScriptGenDlg::OnSaveScript()
{
    const bool bHeader = m_eShownFormat == eInitFormatHeader;
    const QString strPath =
        UI().ChooseFile(true, QStringLiteral("Save Script"),
                        QLatin1String(bHeader ? kHeaderFilter : kScriptFilter), QString());
    if (strPath.isEmpty())
    {
        return false;
    }
    // A text file: the platform's line ends.
    const CSafeSaveResult result = SaveFileSafely(strPath, PaneText(m_gen.ScriptText()).toUtf8());
    if (!result.Ok())
    {
        ShowMessage(QStringLiteral("Unable to open%1, error %2").arg(strPath).arg(result.ErrorNumber()));
        return false;
    }
    return true;
}

void CNetInitScriptGenDlg::OnCopyToClipboard()
{
    QPlainTextEdit* pPane = m_pTabs->currentIndex() == kTabErrors ? m_pErrors : m_pScript;
    pPane->selectAll();
    pPane->copy();
}

void CNetInitScriptGenDlg::PreviewRegisterValues()
{
    if (!m_pRegisterPE || m_bShowingChecks)
    {
        return;
    }
    m_gen.bComments = false;
    m_gen.bPreInitRT = true;
    m_gen.bExcludeRO = m_pExcludeRO->isChecked();
    m_gen.eFormat = eInitFormatCsv;
    if (m_gen.GenerateFrom(m_pRegisterPE->iNodeNumber))
    {
        ShowTexts();
    }
}

bool CNetInitScriptGenDlg::OnSaveRegisterValues()
{
    if (!m_pRegisterPE)
    {
        return false;
    }
    const QString strPath = UI().ChooseFile(true, QStringLiteral("Save Register Values"),
                                            QLatin1String(kValuesFilter), QString());
    if (strPath.isEmpty())
    {
        return false;
    }
    const ERegisterFileFormat eFormat = RegisterFileFormatOf(strPath);
    if (eFormat == eRegFormatInvalid)
    {
        ShowMessage(QStringLiteral("Invalid file extension."));
        return false;
    }
    if (eFormat == eRegFormatBootImage)
    {
        // The boot image writer of the EEPROM tools, or the note that there is none.
        return SaveRegisterValues(m_map, *m_pRegisterPE, strPath, eRegFormatBootImage).bOk;
    }
    m_gen.bComments = false;
    m_gen.bPreInitRT = true;
    m_gen.bExcludeRO = m_pExcludeRO->isChecked();
    m_gen.eFormat = eFormat;
    UI().SetBusy(true);
    const bool bGenerated = m_gen.GenerateFrom(m_pRegisterPE->iNodeNumber);
    UI().SetBusy(false);
    if (!bGenerated)
    {
        return false;
    }
    ShowTexts();
    if (m_gen.ErrorCount() != 0)
    {
        ShowMessage(QStringLiteral("Register values cannot be saved.  Correct errors and try again."));
        return false;
    }
    // Value files keep their CR LF line ends, which their readers expect.
    const CSafeSaveResult result = SaveFileSafely(strPath, m_gen.ScriptText().toLatin1());
    if (!result.Ok())
    {
        ShowMessage(QString::asprintf("Unable to create IDT script file %s, error %d", qPrintable(strPath),
                                      result.ErrorNumber()));
        return false;
    }
    accept();
    return true;
}

bool CNetInitScriptGenDlg::OnSaveEepromImage()
{
    if (!m_pRegisterPE)
    {
        return false;
    }
    CPEPrimitive& pe = *m_pRegisterPE;
    // The EEPROM part: the one kept, or else the person's choice, kept from then on.
    const SEepromType* pType = CEepromTypeSelectDlg::DefaultType();
    if (!pType)
    {
        CEepromTypeSelectDlg select(this);
        if (select.exec() != QDialog::Accepted || !select.Chosen())
        {
            return false;
        }
        pType = select.Chosen();
    }
    QStringList loadMessages;
    LoadedEepromPlugins(&loadMessages);
    for (const QString& strMessage : loadMessages)
    {
        ShowMessage(strMessage);
    }
    UI().BeginWork(QStringLiteral("Generating EEPROM image"), true);
    auto log = [](const QString& strText) { UI().AppendWorkLog(strText); };
    const SEepromImageResult result =
        GenerateEepromImage(m_gen, pe, pType->ulSize, m_pExcludeRO->isChecked(), log);
    ShowTexts();
    if (!result.bOk)
    {
        UI().EndWork(QString());
        if (!result.strErrorsTab.isEmpty())
        {
            m_pErrors->setPlainText(result.strErrorsTab);
            m_pTabs->setCurrentIndex(m_pTabs->indexOf(m_pErrors));
        }
        ShowMessage(result.strError);
        return false;
    }
    const QString strPath = UI().ChooseFile(
        true, QStringLiteral("Save EEPROM Image"),
        QStringLiteral("Binary File (*.bin)|*.bin|S-Record File (*.sre)|*.sre||"), QStringLiteral(".bin"));
    if (strPath.isEmpty())
    {
        UI().EndWork(QString());
        return false;
    }
    log(QStringLiteral("Saving the EEPROM image...\n"));
    QByteArray bytes = result.image;
    if (QFileInfo(strPath).suffix().compare(QLatin1String("sre"), Qt::CaseInsensitive) == 0)
    {
        bytes.clear();
        QBuffer buffer(&bytes);
        buffer.open(QIODevice::WriteOnly);
        WriteSRecordImage(reinterpret_cast<const uint8_t*>(result.image.constData()),
                          static_cast<size_t>(result.image.size()), buffer, 0,
                          static_cast<int>(pType->ulAddressSize));
    }
    const CSafeSaveResult saved = SaveFileSafely(strPath, bytes);
    if (!saved.Ok())
    {
        UI().EndWork(QString());
        ShowMessage(
            QString::asprintf("Unable to open%s, error %d", qPrintable(strPath), saved.ErrorNumber()));
        return false;
    }
    log(QStringLiteral("Done.\n"));
    UI().EndWork(QString());
    if (UI().Ask(QStringLiteral("Do you also want to write the image to the EEPROM?"), windowTitle(),
                 false) != eAnswerYes)
    {
        return true;
    }
    CRegisterAccess access(m_map);
    if (!access.PrepareAccess(pe))
    {
        return false;
    }
    const SEepromTarget target{
        pe.ManufID,
        pe.DeviceID,
        0,
        access.DestID(),
        access.HopCount(),
        static_cast<uint8_t>(
            GetPreference(QStringLiteral("Preferences"), QStringLiteral("I2C_EEPROMAddress"), 0x50u))};
    UI().BeginWork(QStringLiteral("Generating EEPROM image"), true);
    QString strError;
    const bool bWritten = WriteEepromImage(target, *pType, result.image, &strError, log);
    UI().EndWork(QString());
    if (!bWritten)
    {
        ShowMessage(strError);
    }
    return bWritten;
}

#include "ScriptSetupDlg.h"

#include "ScriptEditorDlg.h"
#include "UserInterface.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileInfo>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QTableWidget>
#include <QVBoxLayout>

namespace
{
const QString kScriptFilter =
    QStringLiteral("VB Scripts (*.vbs)|*.vbs|Java Scripts (*.js)|*.js|All Files|*.*||");

QPushButton* MakeButton(const QString& strText, const char* pszName, QWidget* pParent)
{
    auto* pButton = new QPushButton(strText, pParent);
    pButton->setObjectName(QString::fromLatin1(pszName));
    pButton->setAutoDefault(false);
    return pButton;
}

QTableWidget* MakeTable(const QStringList& headings, QWidget* pParent)
{
    auto* pTable = new QTableWidget(0, static_cast<int>(headings.size()), pParent);
    pTable->setHorizontalHeaderLabels(headings);
    pTable->setSelectionBehavior(QAbstractItemView::SelectRows);
    pTable->setSelectionMode(QAbstractItemView::SingleSelection);
    pTable->setEditTriggers(QAbstractItemView::NoEditTriggers);
    pTable->verticalHeader()->hide();
    pTable->verticalHeader()->setDefaultSectionSize(pTable->fontMetrics().height() + 8);
    pTable->horizontalHeader()->setStretchLastSection(true);
    pTable->horizontalHeader()->setHighlightSections(false);
    pTable->setWordWrap(false);
    return pTable;
}

QTableWidgetItem* Cell(const QString& strText, const QString& strTip = QString())
{
    auto* pItem = new QTableWidgetItem(strText);
    if (!strTip.isEmpty())
    {
        pItem->setToolTip(strTip);
    }
    return pItem;
}

// A column wide enough for its heading and its widest text, with a margin.
void FitColumn(QTableWidget* pTable, int iColumn, const QStringList& texts)
{
    const QFontMetrics metrics(pTable->font());
    int iWidth = pTable->horizontalHeader()->fontMetrics().horizontalAdvance(
                     pTable->horizontalHeaderItem(iColumn)->text()) +
                 24;
    for (const QString& strText : texts)
    {
        iWidth = std::max(iWidth, metrics.horizontalAdvance(strText) + 16);
    }
    pTable->setColumnWidth(iColumn, iWidth);
}

int SelectedRow(const QTableWidget* pTable)
{
    const QList<QTableWidgetItem*> items = pTable->selectedItems();
    return items.isEmpty() ? -1 : items.first()->row();
}

QString FileName(const QString& strPath)
{
    return QFileInfo(strPath).fileName();
}
} // namespace

CScriptSetupDlg::CScriptSetupDlg(CMacroManager& manager, QWidget* pParent)
    : QDialog(pParent), m_manager(manager), m_global(manager.Global()), m_map(manager.MapSpecific())
{
    setObjectName(QStringLiteral("ScriptSetupDlg"));
    auto* pLayout = new QVBoxLayout(this);

    auto* pChoice = new QHBoxLayout;
    m_pGlobal = new QRadioButton(QStringLiteral("Global"), this);
    m_pMap = new QRadioButton(QStringLiteral("Map-Specific"), this);
    m_pGlobal->setChecked(true);
    pChoice->addWidget(m_pGlobal);
    pChoice->addWidget(m_pMap);
    pChoice->addStretch(1);
    pLayout->addLayout(pChoice);

    // Script files, with their buttons beside the list.
    auto* pFilesBox = new QGroupBox(QStringLiteral("Script Files"), this);
    auto* pFilesLayout = new QHBoxLayout(pFilesBox);
    m_pFiles = new QListWidget(pFilesBox);
    m_pFiles->setSelectionMode(QAbstractItemView::SingleSelection);
    pFilesLayout->addWidget(m_pFiles, 1);
    auto* pFileButtons = new QVBoxLayout;
    QPushButton* pAddFile = MakeButton(QStringLiteral("Add..."), "AddFile", pFilesBox);
    QPushButton* pRemoveFile = MakeButton(QStringLiteral("Remove"), "RemoveFile", pFilesBox);
    QPushButton* pEditFile = MakeButton(QStringLiteral("Edit..."), "EditFile", pFilesBox);
    for (QPushButton* pButton : {pAddFile, pRemoveFile, pEditFile})
    {
        pFileButtons->addWidget(pButton);
    }
    pFileButtons->addStretch(1);
    pFilesLayout->addLayout(pFileButtons);
    pLayout->addWidget(pFilesBox, 2);

    auto* pEventsBox = new QGroupBox(QStringLiteral("Event Handler Macros"), this);
    auto* pEventsLayout = new QHBoxLayout(pEventsBox);
    m_pEvents = MakeTable({QStringLiteral("State"), QStringLiteral("Event"), QStringLiteral("Script File")},
                          pEventsBox);
    pEventsLayout->addWidget(m_pEvents, 1);
    auto* pEventButtons = new QVBoxLayout;
    QPushButton* pAddEvent = MakeButton(QStringLiteral("Add..."), "AddEvent", pEventsBox);
    QPushButton* pRemoveEvent = MakeButton(QStringLiteral("Remove"), "RemoveEvent", pEventsBox);
    m_pEnable = MakeButton(QStringLiteral("Enable/Disable"), "EnableDisable", pEventsBox);
    for (QPushButton* pButton : {pAddEvent, pRemoveEvent, m_pEnable})
    {
        pEventButtons->addWidget(pButton);
    }
    pEventButtons->addStretch(1);
    pEventsLayout->addLayout(pEventButtons);
    pLayout->addWidget(pEventsBox, 3);

    auto* pMenusBox = new QGroupBox(QStringLiteral("General Utility Macros"), this);
    auto* pMenusLayout = new QHBoxLayout(pMenusBox);
    m_pMenus = MakeTable(
        {QStringLiteral("Menu Command"), QStringLiteral("Method"), QStringLiteral("Script File")}, pMenusBox);
    pMenusLayout->addWidget(m_pMenus, 1);
    auto* pMenuButtons = new QVBoxLayout;
    QPushButton* pAddMenu = MakeButton(QStringLiteral("Add..."), "AddMenu", pMenusBox);
    QPushButton* pRemoveMenu = MakeButton(QStringLiteral("Remove"), "RemoveMenu", pMenusBox);
    pMenuButtons->addWidget(pAddMenu);
    pMenuButtons->addWidget(pRemoveMenu);
    pMenuButtons->addStretch(1);
    pMenusLayout->addLayout(pMenuButtons);
    pLayout->addWidget(pMenusBox, 3);

    // The button columns line up across the three boxes.
    int iButtonWidth = 0;
    for (QPushButton* pButton :
         {pAddFile, pRemoveFile, pEditFile, pAddEvent, pRemoveEvent, m_pEnable, pAddMenu, pRemoveMenu})
    {
        iButtonWidth = std::max(iButtonWidth, pButton->sizeHint().width());
    }
    for (QPushButton* pButton :
         {pAddFile, pRemoveFile, pEditFile, pAddEvent, pRemoveEvent, m_pEnable, pAddMenu, pRemoveMenu})
    {
        pButton->setFixedWidth(iButtonWidth);
    }

    auto* pBox = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    pLayout->addWidget(pBox);
    connect(pBox, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(pBox, &QDialogButtonBox::rejected, this, &QDialog::reject);

    connect(m_pGlobal, &QRadioButton::toggled, this, [this](bool bChecked) { ShowGlobal(bChecked); });
    connect(pAddFile, &QPushButton::clicked, this, &CScriptSetupDlg::OnAddScriptFile);
    connect(pRemoveFile, &QPushButton::clicked, this, &CScriptSetupDlg::OnRemoveScriptFile);
    connect(pEditFile, &QPushButton::clicked, this, &CScriptSetupDlg::OnEditScriptFile);
    connect(m_pFiles, &QListWidget::itemDoubleClicked, this, &CScriptSetupDlg::OnEditScriptFile);
    connect(pAddEvent, &QPushButton::clicked, this, &CScriptSetupDlg::OnAddEvent);
    connect(pRemoveEvent, &QPushButton::clicked, this, &CScriptSetupDlg::OnRemoveEvent);
    connect(m_pEnable, &QPushButton::clicked, this, &CScriptSetupDlg::OnEnableDisable);
    connect(pAddMenu, &QPushButton::clicked, this, &CScriptSetupDlg::OnAddMenuItem);
    connect(pRemoveMenu, &QPushButton::clicked, this, &CScriptSetupDlg::OnRemoveMenuItem);
    connect(m_pEvents, &QTableWidget::itemSelectionChanged, this, &CScriptSetupDlg::UpdateButtons);
    connect(m_pMenus, &QTableWidget::itemSelectionChanged, this, &CScriptSetupDlg::UpdateButtons);
    connect(m_pFiles, &QListWidget::itemSelectionChanged, this, &CScriptSetupDlg::UpdateButtons);

    chooseEvent = [](CScriptSetupDlg& dialog, SEventScriptItem* pItem)
    { return dialog.ChooseEventDefault(pItem); };
    chooseMenuItem = [](CScriptSetupDlg& dialog, SMenuScriptItem* pItem)
    { return dialog.ChooseMenuDefault(pItem); };
    editFile = [this](const QString& strPath)
    {
        return EditScriptFile(this, strPath,
                              [this](const QString& strLanguage)
                              { return m_manager.CreateEngine(strLanguage, true); });
    };

    CheckFiles();
    ShowGlobal(true);
    const int iChar = fontMetrics().horizontalAdvance(QLatin1Char('0'));
    resize(std::max(720, 96 * iChar), std::max(600, 40 * fontMetrics().height()));
}

QPushButton* CScriptSetupDlg::Button(const QString& strObjectName) const
{
    return findChild<QPushButton*>(strObjectName);
}

void CScriptSetupDlg::ShowGlobal(bool bGlobal)
{
    m_bGlobal = bGlobal;
    if (m_pGlobal->isChecked() != bGlobal)
    {
        (bGlobal ? m_pGlobal : m_pMap)->setChecked(true);
    }
    setWindowTitle(bGlobal ? QStringLiteral("Manage Scripts - Global Macros")
                           : QStringLiteral("Manage Scripts - Map-Specific Macros"));
    Refresh();
}

bool CScriptSetupDlg::GlobalChanged() const
{
    return m_global.ScriptFiles != m_manager.Global().ScriptFiles ||
           !m_global.SameBindings(m_manager.Global());
}

bool CScriptSetupDlg::MapChanged() const
{
    return m_map.ScriptFiles != m_manager.MapSpecific().ScriptFiles ||
           !m_map.SameBindings(m_manager.MapSpecific());
}

bool CScriptSetupDlg::Apply(CNetworkDocument& document)
{
    const bool bMapChanged = MapChanged();
    if (GlobalChanged())
    {
        m_manager.Global() = m_global;
        // A store that can't be written has said so; the set stays in force for this session.
        m_manager.SaveGlobal();
    }
    if (bMapChanged)
    {
        m_manager.MapSpecific() = m_map;
        m_manager.PutMap(document);
    }
    m_manager.AssignCommandIDs();
    return bMapChanged;
}

QString CScriptSetupDlg::TestLoad(const QString& strPath) const
{
    QString strText;
    QString strError;
    if (!ReadScriptFile(strPath, &strText, &strError))
    {
        return strError;
    }
    const QString strLanguage = ScriptLanguageOf(strPath);
    std::unique_ptr<IScriptEngine> pEngine = m_manager.CreateEngine(strLanguage, true);
    if (!pEngine)
    {
        return QStringLiteral("There is no script engine for the language '%1'.").arg(strLanguage);
    }
    SScriptError error;
    return pEngine->Load(strText, &error) ? QString() : ScriptErrorText(error);
}

void CScriptSetupDlg::CheckFiles()
{
    m_failed.clear();
    for (const SMacroBindingSet* pSet : {&m_global, &m_map})
    {
        for (const QString& strPath : pSet->ScriptFiles)
        {
            if (!m_failed.contains(strPath) && !TestLoad(strPath).isEmpty())
            {
                m_failed.insert(strPath);
            }
        }
    }
}

QStringList CScriptSetupDlg::LoadedFiles() const
{
    QStringList files;
    for (const QString& strPath : Shown().ScriptFiles)
    {
        if (!m_failed.contains(strPath))
        {
            files << strPath;
        }
    }
    return files;
}

QStringList CScriptSetupDlg::MethodsOf(const QString& strPath) const
{
    QString strText;
    QString strError;
    std::unique_ptr<IScriptEngine> pEngine = m_manager.CreateEngine(ScriptLanguageOf(strPath), true);
    SScriptError error;
    if (!pEngine || !ReadScriptFile(strPath, &strText, &strError) || !pEngine->Load(strText, &error))
    {
        return {};
    }
    return ScriptMethodNames(*pEngine, strText);
}

void CScriptSetupDlg::OnAddScriptFile()
{
    QString strPath = UI().ChooseFile(false, QStringLiteral("Add Script File"), kScriptFilter, QString());
    if (strPath.isEmpty())
    {
        return;
    }
    // A name typed without an extension that isn't there as it stands takes the default ".vbs".
    const QFileInfo info(strPath);
    if (info.suffix().isEmpty() && !info.exists())
    {
        strPath += QStringLiteral(".vbs");
    }
    AddScriptFile(strPath);
}

bool CScriptSetupDlg::AddScriptFile(const QString& strPath)
{
    if (ScriptLanguageOf(strPath).isEmpty())
    {
        ShowMessage(kInvalidScriptTypeText);
        return false;
    }
    if (Shown().ScriptFiles.contains(strPath))
    {
        ShowMessage(QStringLiteral("%1 is already in the list.").arg(QDir::toNativeSeparators(strPath)),
                    EMessageKind::Information);
        return false;
    }
    const QString strError = TestLoad(strPath);
    // A file that doesn't load stays listed, marked, so it can be edited and put right.
    Shown().AddScriptFile(strPath);
    if (strError.isEmpty())
    {
        m_failed.remove(strPath);
    }
    else
    {
        m_failed.insert(strPath);
        ShowMessage(strError);
    }
    Refresh();
    m_pFiles->setCurrentRow(m_pFiles->count() - 1);
    return true;
}

void CScriptSetupDlg::OnRemoveScriptFile()
{
    const int iRow = m_pFiles->currentRow();
    if (iRow < 0 || iRow >= Shown().ScriptFiles.size())
    {
        return;
    }
    const QString strPath = Shown().ScriptFiles[iRow];
    const int nBindings = Shown().BindingsOf(strPath);
    if (nBindings > 0 &&
        UI().Ask(
            QStringLiteral("%1 is used by %2 macro binding(s), which will be removed with it.\n\nRemove it?")
                .arg(FileName(strPath))
                .arg(nBindings),
            QStringLiteral("Manage Scripts"), false) != eAnswerYes)
    {
        return;
    }
    Shown().RemoveScriptFile(strPath);
    Refresh();
}

void CScriptSetupDlg::OnEditScriptFile()
{
    const int iRow = m_pFiles->currentRow();
    if (iRow < 0 || iRow >= Shown().ScriptFiles.size())
    {
        return;
    }
    const QString strPath = Shown().ScriptFiles[iRow];
    if (editFile && editFile(strPath))
    {
        // The file was saved: test it again.
        if (TestLoad(strPath).isEmpty())
        {
            m_failed.remove(strPath);
        }
        else
        {
            m_failed.insert(strPath);
        }
        Refresh();
        m_pFiles->setCurrentRow(iRow);
    }
}

void CScriptSetupDlg::OnAddEvent()
{
    if (LoadedFiles().isEmpty())
    {
        ShowMessage(QStringLiteral("Add a script file that loads without errors first."),
                    EMessageKind::Information);
        return;
    }
    SEventScriptItem item;
    item.EventID = MacroEventIDs().front();
    item.Enabled = true;
    if (!chooseEvent || !chooseEvent(*this, &item))
    {
        return;
    }
    item.Language = ScriptLanguageOf(item.ScriptFile);
    if (Shown().FindEvent(item.EventID) >= 0 &&
        UI().Ask(kReplaceBindingText, QStringLiteral("Manage Scripts"), false) != eAnswerYes)
    {
        return;
    }
    Shown().SetEvent(item);
    Refresh();
    m_pEvents->selectRow(Shown().FindEvent(item.EventID));
}

void CScriptSetupDlg::OnRemoveEvent()
{
    const int iRow = SelectedRow(m_pEvents);
    if (iRow >= 0 && iRow < static_cast<int>(Shown().EventBindings.size()))
    {
        Shown().EventBindings.erase(Shown().EventBindings.begin() + iRow);
        Refresh();
    }
}

void CScriptSetupDlg::OnEnableDisable()
{
    const int iRow = SelectedRow(m_pEvents);
    if (iRow >= 0 && iRow < static_cast<int>(Shown().EventBindings.size()))
    {
        SEventScriptItem& item = Shown().EventBindings[static_cast<size_t>(iRow)];
        item.Enabled = !item.Enabled;
        Refresh();
        m_pEvents->selectRow(iRow);
    }
}

void CScriptSetupDlg::OnAddMenuItem()
{
    if (LoadedFiles().isEmpty())
    {
        ShowMessage(QStringLiteral("Add a script file that loads without errors first."),
                    EMessageKind::Information);
        return;
    }
    SMenuScriptItem item;
    if (!chooseMenuItem || !chooseMenuItem(*this, &item))
    {
        return;
    }
    item.MenuItemName = item.MenuItemName.trimmed();
    item.Language = ScriptLanguageOf(item.ScriptFile);
    if (Shown().FindMenuItem(item.MenuItemName) >= 0 &&
        UI().Ask(kReplaceBindingText, QStringLiteral("Manage Scripts"), false) != eAnswerYes)
    {
        return;
    }
    Shown().SetMenuItem(item);
    Refresh();
    m_pMenus->selectRow(Shown().FindMenuItem(item.MenuItemName));
}

void CScriptSetupDlg::OnRemoveMenuItem()
{
    const int iRow = SelectedRow(m_pMenus);
    if (iRow >= 0 && iRow < static_cast<int>(Shown().MenuBindings.size()))
    {
        Shown().MenuBindings.erase(Shown().MenuBindings.begin() + iRow);
        Refresh();
    }
}

void CScriptSetupDlg::Refresh()
{
    const SMacroBindingSet& set = Shown();
    m_pFiles->clear();
    for (const QString& strPath : set.ScriptFiles)
    {
        auto* pItem = new QListWidgetItem(QDir::toNativeSeparators(strPath) +
                                          (m_failed.contains(strPath) ? kNotLoadedSuffix : QString()));
        pItem->setToolTip(QDir::toNativeSeparators(strPath));
        m_pFiles->addItem(pItem);
    }

    m_pEvents->clearContents();
    m_pEvents->setRowCount(static_cast<int>(set.EventBindings.size()));
    QStringList states{QStringLiteral("Disabled")};
    QStringList events;
    for (uint32_t ulID : MacroEventIDs())
    {
        events << MacroEventLabel(ulID);
    }
    for (size_t i = 0; i < set.EventBindings.size(); ++i)
    {
        const SEventScriptItem& item = set.EventBindings[i];
        const int iRow = static_cast<int>(i);
        const QString strTip =
            QStringLiteral("%1 in %2").arg(item.MethodName, QDir::toNativeSeparators(item.ScriptFile));
        m_pEvents->setItem(
            iRow, 0, Cell(item.Enabled ? QStringLiteral("Enabled") : QStringLiteral("Disabled"), strTip));
        m_pEvents->setItem(iRow, 1, Cell(MacroEventLabel(item.EventID), strTip));
        m_pEvents->setItem(iRow, 2, Cell(FileName(item.ScriptFile), strTip));
        events << MacroEventLabel(item.EventID);
    }
    FitColumn(m_pEvents, 0, states);
    FitColumn(m_pEvents, 1, events);

    m_pMenus->clearContents();
    m_pMenus->setRowCount(static_cast<int>(set.MenuBindings.size()));
    QStringList names;
    QStringList methods;
    for (size_t i = 0; i < set.MenuBindings.size(); ++i)
    {
        const SMenuScriptItem& item = set.MenuBindings[i];
        const int iRow = static_cast<int>(i);
        m_pMenus->setItem(iRow, 0, Cell(item.MenuItemName));
        m_pMenus->setItem(iRow, 1, Cell(item.MethodName));
        m_pMenus->setItem(iRow, 2,
                          Cell(FileName(item.ScriptFile), QDir::toNativeSeparators(item.ScriptFile)));
        names << item.MenuItemName;
        methods << item.MethodName;
    }
    FitColumn(m_pMenus, 0, names);
    FitColumn(m_pMenus, 1, methods);
    UpdateButtons();
}

void CScriptSetupDlg::UpdateButtons()
{
    const bool bFile = m_pFiles->currentRow() >= 0 && !m_pFiles->selectedItems().isEmpty();
    Button(QStringLiteral("RemoveFile"))->setEnabled(bFile);
    Button(QStringLiteral("EditFile"))->setEnabled(bFile);
    const int iEvent = SelectedRow(m_pEvents);
    const bool bEvent = iEvent >= 0 && iEvent < static_cast<int>(Shown().EventBindings.size());
    Button(QStringLiteral("RemoveEvent"))->setEnabled(bEvent);
    m_pEnable->setEnabled(bEvent);
    m_pEnable->setText(!bEvent ? QStringLiteral("Enable/Disable")
                       : Shown().EventBindings[static_cast<size_t>(iEvent)].Enabled
                           ? QStringLiteral("Disable")
                           : QStringLiteral("Enable"));
    Button(QStringLiteral("RemoveMenu"))->setEnabled(SelectedRow(m_pMenus) >= 0);
}

bool CScriptSetupDlg::ChooseEventDefault(SEventScriptItem* pItem)
{
    CMacroBindingDlg dialog(*this, pItem, nullptr, this);
    return dialog.exec() == QDialog::Accepted;
}

bool CScriptSetupDlg::ChooseMenuDefault(SMenuScriptItem* pItem)
{
    CMacroBindingDlg dialog(*this, nullptr, pItem, this);
    return dialog.exec() == QDialog::Accepted;
}

CMacroBindingDlg::CMacroBindingDlg(CScriptSetupDlg& setup, SEventScriptItem* pEvent, SMenuScriptItem* pMenu,
                                   QWidget* pParent)
    : QDialog(pParent), m_setup(setup), m_pEventItem(pEvent), m_pMenuItem(pMenu)
{
    setWindowTitle(pEvent ? QStringLiteral("Add Event Handler Macro")
                          : QStringLiteral("Add General Utility Macro"));
    auto* pLayout = new QVBoxLayout(this);
    auto* pForm = new QFormLayout;
    if (pEvent)
    {
        m_pEvent = new QComboBox(this);
        for (uint32_t ulID : MacroEventIDs())
        {
            m_pEvent->addItem(MacroEventLabel(ulID), ulID);
        }
        m_pEvent->setCurrentIndex(std::max(0, m_pEvent->findData(pEvent->EventID)));
        pForm->addRow(QStringLiteral("Event:"), m_pEvent);
    }
    else
    {
        m_pMenuText = new QLineEdit(pMenu ? pMenu->MenuItemName : QString(), this);
        pForm->addRow(QStringLiteral("Menu Command:"), m_pMenuText);
    }
    m_pFile = new QComboBox(this);
    for (const QString& strPath : setup.LoadedFiles())
    {
        m_pFile->addItem(QDir::toNativeSeparators(strPath), strPath);
    }
    pForm->addRow(QStringLiteral("Script File:"), m_pFile);
    m_pMethod = new QComboBox(this);
    pForm->addRow(QStringLiteral("Method:"), m_pMethod);
    pLayout->addLayout(pForm);
    if (pEvent)
    {
        m_pEnabled = new QCheckBox(QStringLiteral("Enabled"), this);
        m_pEnabled->setChecked(pEvent->Enabled);
        pLayout->addWidget(m_pEnabled);
    }
    auto* pBox = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    pLayout->addWidget(pBox);
    connect(pBox, &QDialogButtonBox::accepted, this, [this] { OnOk(); });
    connect(pBox, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(m_pFile, &QComboBox::currentIndexChanged, this, &CMacroBindingDlg::FillMethods);
    FillMethods();
    setMinimumWidth(std::max(420, 60 * fontMetrics().horizontalAdvance(QLatin1Char('0'))));
}

void CMacroBindingDlg::FillMethods()
{
    m_pMethod->clear();
    const QString strPath = m_pFile->currentData().toString();
    if (!strPath.isEmpty())
    {
        m_pMethod->addItems(m_setup.MethodsOf(strPath));
    }
}

bool CMacroBindingDlg::OnOk()
{
    if (m_pMenuText && m_pMenuText->text().trimmed().isEmpty())
    {
        ShowMessage(QStringLiteral("Enter the text of the menu command."), EMessageKind::Information);
        return false;
    }
    if (m_pMethod->currentText().isEmpty())
    {
        ShowMessage(m_pFile->count() == 0 || m_pMethod->count() > 0
                        ? QStringLiteral("Choose the method to run.")
                        : QStringLiteral("%1 has no methods to run.").arg(m_pFile->currentText()),
                    EMessageKind::Information);
        return false;
    }
    const QString strFile = m_pFile->currentData().toString();
    if (m_pEventItem)
    {
        m_pEventItem->EventID = m_pEvent->currentData().toUInt();
        m_pEventItem->MethodName = m_pMethod->currentText();
        m_pEventItem->ScriptFile = strFile;
        m_pEventItem->Language = ScriptLanguageOf(strFile);
        m_pEventItem->Enabled = m_pEnabled->isChecked();
    }
    else if (m_pMenuItem)
    {
        m_pMenuItem->MenuItemName = m_pMenuText->text().trimmed();
        m_pMenuItem->MethodName = m_pMethod->currentText();
        m_pMenuItem->ScriptFile = strFile;
        m_pMenuItem->Language = ScriptLanguageOf(strFile);
    }
    accept();
    return true;
}

#include "ScriptRunDlg.h"

#include "NetworkDocument.h"
#include "SimpleScript.h"
#include "UserInterface.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSplitter>
#include <QVBoxLayout>

namespace
{
const char* const kScriptFilter = "Norvanta Simple Script (*.txt)|*.txt||";

// The panes show line feeds; the script and the transcript keep their carriage returns.
QString PaneText(QString strText)
{
    strText.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    return strText;
}

QPlainTextEdit* MakePane(QWidget* pParent, bool bReadOnly)
{
    auto* pPane = new QPlainTextEdit(pParent);
    pPane->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    pPane->setLineWrapMode(QPlainTextEdit::NoWrap);
    pPane->setReadOnly(bReadOnly);
    pPane->setTabStopDistance(8 * pPane->fontMetrics().horizontalAdvance(QLatin1Char(' ')));
    return pPane;
}
} // namespace

CScriptRunDlg::CScriptRunDlg(CNetworkDocument& map, CPEPrimitive& target, IScriptAccess* pAccess,
                             QWidget* pParent)
    : QDialog(pParent), m_map(map), m_strTargetID(target.UniqueID), m_iTargetNode(target.iNodeNumber)
{
    setObjectName(QStringLiteral("ScriptRunDlg"));
    if (!pAccess)
    {
        m_pOwnAccess = std::make_unique<CFrontEndScriptAccess>();
        pAccess = m_pOwnAccess.get();
    }
    m_pCore = std::make_unique<CScriptRunCore>(map, target, *pAccess);
    m_pCore->fnRegisterChanged = [this](uint32_t, uint32_t) { m_bRegistersSet = true; };

    auto* pLayout = new QVBoxLayout(this);
    m_pMenuBar = new QMenuBar(this);
    pLayout->setMenuBar(m_pMenuBar);
    BuildMenu();

    auto* pSplitter = new QSplitter(Qt::Vertical, this);
    auto* pScriptBox = new QWidget(pSplitter);
    auto* pScriptLayout = new QVBoxLayout(pScriptBox);
    pScriptLayout->setContentsMargins(0, 0, 0, 0);
    pScriptLayout->addWidget(new QLabel(QStringLiteral("Script:"), pScriptBox));
    m_pScript = MakePane(pScriptBox, false);
    m_pScript->setObjectName(QStringLiteral("Script"));
    pScriptLayout->addWidget(m_pScript);

    auto* pResultsBox = new QWidget(pSplitter);
    auto* pResultsLayout = new QVBoxLayout(pResultsBox);
    pResultsLayout->setContentsMargins(0, 0, 0, 0);
    pResultsLayout->addWidget(new QLabel(QStringLiteral("Script Output:"), pResultsBox));
    m_pResults = MakePane(pResultsBox, true);
    m_pResults->setObjectName(QStringLiteral("Results"));
    pResultsLayout->addWidget(m_pResults);
    pSplitter->addWidget(pScriptBox);
    pSplitter->addWidget(pResultsBox);
    pSplitter->setChildrenCollapsible(false);
    pLayout->addWidget(pSplitter, 1);

    auto* pButtons = new QHBoxLayout;
    m_pCopy = new QPushButton(QStringLiteral("Copy Results to Clipboard"), this);
    m_pClear = new QPushButton(QStringLiteral("Clear Results"), this);
    for (QPushButton* pButton : {m_pCopy, m_pClear})
    {
        pButton->setAutoDefault(false);
    }
    pButtons->addStretch(1);
    pButtons->addWidget(m_pCopy);
    pButtons->addWidget(m_pClear);
    pLayout->addLayout(pButtons);
    connect(m_pCopy, &QPushButton::clicked, this, &CScriptRunDlg::OnCopyResults);
    connect(m_pClear, &QPushButton::clicked, this, &CScriptRunDlg::OnClearResults);

    connect(m_pScript, &QPlainTextEdit::textChanged, this,
            [this]
            {
                if (!m_bShowing)
                {
                    m_pCore->SetText(m_pScript->toPlainText());
                    UpdateTitle();
                }
            });
    // Wide enough for a script line, its read-back comment and the closing line of a run.
    const int iChar = m_pScript->fontMetrics().horizontalAdvance(QLatin1Char('0'));
    resize(std::max(640, 72 * iChar), 560);
    pSplitter->setSizes({260, 260});
    UpdateTitle();
}

CScriptRunDlg::~CScriptRunDlg() = default;

void CScriptRunDlg::BuildMenu()
{
    QMenu* pFile = m_pMenuBar->addMenu(QStringLiteral("&File"));
    connect(pFile->addAction(QStringLiteral("&New"), QKeySequence::New), &QAction::triggered, this,
            &CScriptRunDlg::OnNew);
    connect(pFile->addAction(QStringLiteral("&Open..."), QKeySequence::Open), &QAction::triggered, this,
            &CScriptRunDlg::OnOpen);
    connect(pFile->addAction(QStringLiteral("&Save"), QKeySequence::Save), &QAction::triggered, this,
            &CScriptRunDlg::OnSave);
    connect(pFile->addAction(QStringLiteral("Save &As...")), &QAction::triggered, this,
            &CScriptRunDlg::OnSaveAs);
    pFile->addSeparator();
    connect(pFile->addAction(QStringLiteral("&Close")), &QAction::triggered, this, &QDialog::close);
    QMenu* pScript = m_pMenuBar->addMenu(QStringLiteral("&Script"));
    connect(pScript->addAction(QStringLiteral("&Run"), QKeySequence(Qt::Key_F5)), &QAction::triggered, this,
            &CScriptRunDlg::OnRun);
}

QAction* CScriptRunDlg::Command(const QString& strName) const
{
    for (QAction* pMenu : m_pMenuBar->actions())
    {
        if (!pMenu->menu())
        {
            continue;
        }
        for (QAction* pAction : pMenu->menu()->actions())
        {
            QString strText = pAction->text();
            strText.remove(QLatin1Char('&'));
            while (strText.endsWith(QLatin1Char('.')))
            {
                strText.chop(1);
            }
            if (strText == strName)
            {
                return pAction;
            }
        }
    }
    return nullptr;
}

void CScriptRunDlg::SetScriptText(const QString& strText)
{
    m_pScript->setPlainText(PaneText(strText));
}

CPEPrimitive* CScriptRunDlg::ResolveTarget()
{
    CPEPrimitive* pPE = m_strTargetID.isEmpty() ? m_map.ActivePEs.GetByNodeNumber(m_iTargetNode)
                                                : m_map.ActivePEs.GetPEByUniqueID(m_strTargetID);
    if (pPE && !pPE->bDeleted)
    {
        m_iTargetNode = pPE->iNodeNumber;
        m_pCore->SetTarget(*pPE);
        return pPE;
    }
    return nullptr;
}

void CScriptRunDlg::ShowScript()
{
    m_bShowing = true;
    m_pScript->setPlainText(PaneText(m_pCore->Text()));
    m_bShowing = false;
    UpdateTitle();
}

void CScriptRunDlg::ShowResults()
{
    m_pResults->setPlainText(PaneText(m_pCore->Transcript()));
    m_pResults->moveCursor(QTextCursor::End);
}

void CScriptRunDlg::UpdateTitle()
{
    // The core's title names the PE: only while the map still holds it.
    if (ResolveTarget())
    {
        setWindowTitle(m_pCore->Title());
    }
}

void CScriptRunDlg::OnNew()
{
    if (m_pCore->New())
    {
        ShowScript();
    }
}

void CScriptRunDlg::OnOpen()
{
    if (m_pCore->OpenChosen())
    {
        ShowScript();
    }
}

void CScriptRunDlg::OnSave()
{
    m_pCore->Save();
    UpdateTitle();
}

void CScriptRunDlg::OnSaveAs()
{
    const QString strPath =
        UI().ChooseFile(true, QStringLiteral("Save As"), QLatin1String(kScriptFilter), m_pCore->PathName());
    if (!strPath.isEmpty())
    {
        m_pCore->SaveAs(strPath);
    }
    UpdateTitle();
}

void CScriptRunDlg::OnRun()
{
    if (m_bRunning)
    {
        return;
    }
    if (!ResolveTarget())
    {
        ShowMessage(QStringLiteral("Node %1 is no longer in the map: the script has no target.")
                        .arg(m_iTargetNode + 1));
        return;
    }
    m_bRunning = true;
    m_bRegistersSet = false;
    UI().SetBusy(true);
    const bool bRan = m_pCore->Run();
    UI().SetBusy(false);
    m_bRunning = false;
    // A run that didn't start (no link, no route) leaves the last transcript as it was.
    if (bRan || !m_pCore->Transcript().isEmpty())
    {
        ShowResults();
    }
    if (m_bRegistersSet)
    {
        emit registersChanged(m_iTargetNode);
    }
    if (m_bCloseAsked)
    {
        m_bCloseAsked = false;
        m_pCore->SetStopMark(false);
        close();
    }
}

void CScriptRunDlg::OnCopyResults()
{
    m_pResults->selectAll();
    m_pResults->copy();
    QTextCursor cursor = m_pResults->textCursor();
    cursor.clearSelection();
    m_pResults->setTextCursor(cursor);
}

void CScriptRunDlg::OnClearResults()
{
    m_pCore->ClearResults();
    m_pResults->clear();
}

void CScriptRunDlg::closeEvent(QCloseEvent* pEvent)
{
    if (m_bRunning)
    {
        // The run stops at its next line, and the window closes when it has.
        m_pCore->SetStopMark(true);
        m_bCloseAsked = true;
        pEvent->ignore();
        return;
    }
    if (!m_pCore->QueryClose())
    {
        pEvent->ignore();
        UpdateTitle();
        return;
    }
    pEvent->accept();
}

void CScriptRunDlg::reject()
{
    // Escape closes the window as its close box does, with the same question.
    close();
}

CScriptRunDlg* OpenScriptWindow(QWidget* pParent, CNetworkDocument& map, CPEPrimitive& pe,
                                const QString& strText)
{
    auto* pDialog = new CScriptRunDlg(map, pe, nullptr, pParent);
    pDialog->setAttribute(Qt::WA_DeleteOnClose);
    if (!strText.isEmpty())
    {
        pDialog->SetScriptText(strText);
    }
    pDialog->show();
    pDialog->raise();
    pDialog->activateWindow();
    return pDialog;
}

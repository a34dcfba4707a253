#include "WatchWnd.h"

#include "TriggerDlg.h"
#include "UserInterface.h"
#include "WatchReport.h"
#include "WatchTrigger.h"

#include <QHeaderView>
#include <QKeyEvent>
#include <QMenu>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QScrollBar>
#include <QSplitter>
#include <QStyle>
#include <QTableWidget>
#include <QTimer>

namespace
{
// The colour of a row whose trigger fired at its last poll.
const QColor kFiredColor(255, 214, 204);
} // namespace

CWatchDlg::CWatchDlg(CNetworkDocument& document, IRegisterTransport& transport, QWidget* pParent)
    : QMainWindow(pParent, Qt::Window), m_document(document), m_monitor(document, transport)
{
    setObjectName(QStringLiteral("WatchDlg"));
    setWindowTitle(QStringLiteral("Watch Window"));
    m_pTable = new QTableWidget(0, eWatchColCount, this);
    m_pTable->setHorizontalHeaderLabels(WatchColumnHeadings());
    m_pTable->verticalHeader()->hide();
    m_pTable->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_pTable->setSelectionMode(QAbstractItemView::SingleSelection);
    m_pTable->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_pTable->setContextMenuPolicy(Qt::CustomContextMenu);
    m_pTable->horizontalHeader()->setStretchLastSection(true);
    m_pTable->installEventFilter(this);
    m_pLog = new QPlainTextEdit(this);
    m_pLog->setReadOnly(true);
    m_pLog->setLineWrapMode(QPlainTextEdit::NoWrap);
    m_pLog->setFont(QFont(QStringLiteral("Monospace")));
    auto* pSplitter = new QSplitter(Qt::Vertical, this);
    pSplitter->addWidget(m_pTable);
    pSplitter->addWidget(m_pLog);
    pSplitter->setStretchFactor(0, 3);
    pSplitter->setStretchFactor(1, 1);
    setCentralWidget(pSplitter);
    BuildMenus();
    // Room from the start for the headings and for the widest word each pop-up can put in.
    const QStringList headings = WatchColumnHeadings();
    for (int c = 0; c < eWatchColCount; ++c)
    {
        m_pTable->setColumnWidth(c, 0);
        FitColumn(c, headings[c]);
    }
    FitColumn(eWatchColItem, QStringLiteral("99"));
    FitColumn(eWatchColAction, WatchActionText(eWatchActionHighlightPE));
    FitColumn(eWatchColLog, WatchLogText(eWatchLogTriggers));
    FitColumn(eWatchColPeriod, QStringLiteral("5 Seconds"));
    FitColumn(eWatchColValue, QStringLiteral("00000000"));
    FitColumn(eWatchColTrigger, QStringLiteral("(BF <= 00000000) || (BF >= 00000000)"));
    resize(1060, 420);

    connect(m_pTable, &QTableWidget::cellChanged, this, &CWatchDlg::OnCellChanged);
    connect(m_pTable, &QTableWidget::cellDoubleClicked, this,
            [this](int iRow, int iColumn)
            {
                if (iColumn == eWatchColTrigger)
                {
                    EditTrigger(iRow);
                }
            });
    connect(m_pTable, &QTableWidget::customContextMenuRequested, this,
            [this](const QPoint& at)
            {
                const QModelIndex index = m_pTable->indexAt(at);
                if (!index.isValid())
                {
                    return;
                }
                if (std::unique_ptr<QMenu> pMenu = CellMenu(index.row(), index.column()))
                {
                    pMenu->exec(m_pTable->viewport()->mapToGlobal(at));
                }
            });

    m_monitor.onItemChanged = [this](int i) { RefreshRow(i); };
    m_monitor.onListChanged = [this] { Rebuild(); };
    m_monitor.onLogLine = [this](const QString& strLine) { AppendLog(strLine); };
    m_monitor.onModified = [this] { emit modified(); };
    m_monitor.onMapRedraw = [this] { emit mapRedraw(); };

    // The tick runs while the window exists; with no item enabled it costs nothing.
    m_pTimer = new QTimer(this);
    m_pTimer->setInterval(1000);
    connect(m_pTimer, &QTimer::timeout, this, [this] { m_monitor.Tick(); });
    m_pTimer->start();
    Rebuild();
}

void CWatchDlg::BuildMenus()
{
    QMenu* pWatch = menuBar()->addMenu(QStringLiteral("&Watch"));
    pWatch->addAction(QStringLiteral("Enable All"), this, [this] { m_monitor.EnableAll(); });
    pWatch->addAction(QStringLiteral("Disable All"), this, [this] { m_monitor.DisableAll(); });
    pWatch->addSeparator();
    pWatch->addAction(QStringLiteral("Remove"), this,
                      [this]
                      {
                          if (m_pTable->currentRow() >= 0)
                          {
                              m_monitor.Remove(m_pTable->currentRow());
                          }
                      });
    pWatch->addAction(QStringLiteral("Remove All"), this, [this] { m_monitor.RemoveAll(); });
    QMenu* pLog = menuBar()->addMenu(QStringLiteral("&Log"));
    pLog->addAction(QStringLiteral("Save Log..."), this, [this] { m_monitor.SaveLog(); });
    pLog->addAction(QStringLiteral("Clear Log"), this,
                    [this]
                    {
                        m_monitor.ClearLog();
                        m_pLog->clear();
                    });
    pLog->addSeparator();
    pLog->addAction(QStringLiteral("Generate Report"), this, [this] { GenerateReport(); });
}

bool CWatchDlg::GenerateReport()
{
    const std::unique_ptr<CWatchReport> pReport =
        MakeWatchRunReport(m_document, m_monitor.LogRecords(), CWatchMonitor::DisplayBase());
    return pReport->GenerateReport();
}

int CWatchDlg::AddWatch(const SWatchRequest& request)
{
    const int i = m_monitor.AddWatch(request);
    show();
    raise();
    activateWindow();
    m_pTable->setCurrentCell(i, eWatchColRegister);
    return i;
}

void CWatchDlg::Rebuild()
{
    m_bFilling = true;
    m_pTable->setRowCount(m_monitor.Count());
    m_bFilling = false;
    for (int i = 0; i < m_monitor.Count(); ++i)
    {
        RefreshRow(i);
    }
}

void CWatchDlg::RefreshRow(int i)
{
    if (i < 0 || i >= m_pTable->rowCount())
    {
        return;
    }
    m_bFilling = true;
    const WatchItem& item = m_monitor.Items()[static_cast<size_t>(i)];
    const QBrush background = m_monitor.IsMarked(i) ? QBrush(kFiredColor) : QBrush();
    for (int c = 0; c < eWatchColCount; ++c)
    {
        QTableWidgetItem* pCell = m_pTable->item(i, c);
        if (!pCell)
        {
            pCell = new QTableWidgetItem;
            pCell->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable |
                            (c == eWatchColItem ? Qt::ItemIsUserCheckable : Qt::NoItemFlags));
            if (c == eWatchColValue || c == eWatchColEvents || c == eWatchColNode || c == eWatchColDestID)
            {
                pCell->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
            }
            m_pTable->setItem(i, c, pCell);
        }
        pCell->setText(m_monitor.CellText(i, c));
        pCell->setBackground(background);
        FitColumn(c, pCell->text());
        if (c == eWatchColItem)
        {
            pCell->setCheckState(item.bEnabled ? Qt::Checked : Qt::Unchecked);
        }
    }
    m_bFilling = false;
}

void CWatchDlg::FitColumn(int iColumn, const QString& strText)
{
    // Columns only grow, so a value that changes width doesn't make the table jump about.
    const int iCheck =
        iColumn == eWatchColItem ? m_pTable->style()->pixelMetric(QStyle::PM_IndicatorWidth) + 8 : 0;
    const int iNeeded = m_pTable->fontMetrics().horizontalAdvance(strText) + 16 + iCheck;
    if (iNeeded > m_pTable->columnWidth(iColumn))
    {
        m_pTable->setColumnWidth(iColumn, iNeeded);
    }
}

void CWatchDlg::OnCellChanged(int iRow, int iColumn)
{
    if (m_bFilling || iColumn != eWatchColItem || iRow >= m_monitor.Count())
    {
        return;
    }
    const bool bWanted = m_pTable->item(iRow, iColumn)->checkState() == Qt::Checked;
    if (bWanted != m_monitor.Items()[static_cast<size_t>(iRow)].bEnabled)
    {
        m_monitor.SetEnabled(iRow, bWanted);
    }
    // The box shows what the item is, also when enabling was refused.
    RefreshRow(iRow);
}

void CWatchDlg::AppendLog(const QString& strLine)
{
    // A box scrolled to its end stays there; one scrolled back stays where the person left it.
    QScrollBar* pBar = m_pLog->verticalScrollBar();
    const bool bAtEnd = pBar->value() >= pBar->maximum();
    const int iKept = pBar->value();
    m_pLog->appendPlainText(strLine);
    pBar->setValue(bAtEnd ? pBar->maximum() : iKept);
}

bool CWatchDlg::EditTrigger(int i)
{
    if (i < 0 || i >= m_monitor.Count())
    {
        return false;
    }
    CTriggerDlg dialog(
        m_monitor.Items()[static_cast<size_t>(i)], CWatchMonitor::DisplayBase(),
        [this, i](int eType, const QString& strX1, const QString& strX2)
        { return m_monitor.SetTrigger(i, eType, strX1, strX2); },
        this);
    return dialog.exec() == QDialog::Accepted;
}

std::unique_ptr<QMenu> CWatchDlg::CellMenu(int i, int iColumn)
{
    if (i < 0 || i >= m_monitor.Count())
    {
        return nullptr;
    }
    auto pMenu = std::make_unique<QMenu>(this);
    const WatchItem& item = m_monitor.Items()[static_cast<size_t>(i)];
    auto addChoice = [&pMenu](const QString& strText, bool bChecked, auto handler)
    {
        QAction* pAction = pMenu->addAction(strText, handler);
        pAction->setCheckable(true);
        pAction->setChecked(bChecked);
    };
    switch (iColumn)
    {
    case eWatchColAction:
        for (int eAction = eWatchActionNone; eAction <= eWatchActionMessageBox; ++eAction)
        {
            addChoice(WatchActionText(eAction), item.eAction == eAction,
                      [this, i, eAction] { m_monitor.SetAction(i, eAction); });
        }
        break;
    case eWatchColLog:
        for (int eLog = eWatchLogNone; eLog <= eWatchLogTriggers; ++eLog)
        {
            addChoice(WatchLogText(eLog), item.eLog == eLog, [this, i, eLog] { m_monitor.SetLog(i, eLog); });
        }
        break;
    case eWatchColPeriod:
        for (int iSeconds : {5, 3, 1})
        {
            addChoice(QStringLiteral("%1 Seconds").arg(iSeconds), item.iUpdatePeriod == iSeconds,
                      [this, i, iSeconds] { m_monitor.SetPeriod(i, iSeconds); });
        }
        break;
    case eWatchColEvents:
        pMenu->addAction(QStringLiteral("Reset"), this, [this, i] { m_monitor.ResetEvents(i); });
        break;
    case eWatchColTrigger:
        pMenu->addAction(QStringLiteral("Edit Trigger..."), this, [this, i] { EditTrigger(i); });
        break;
    default:
        pMenu->addAction(QStringLiteral("Remove"), this, [this, i] { m_monitor.Remove(i); });
        break;
    }
    return pMenu;
}

bool CWatchDlg::eventFilter(QObject* pObject, QEvent* pEvent)
{
    if (pObject == m_pTable && pEvent->type() == QEvent::KeyPress &&
        static_cast<QKeyEvent*>(pEvent)->key() == Qt::Key_Delete && m_pTable->currentRow() >= 0)
    {
        m_monitor.Remove(m_pTable->currentRow());
        return true;
    }
    return QMainWindow::eventFilter(pObject, pEvent);
}

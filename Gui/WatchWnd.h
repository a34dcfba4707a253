// The watch window: the document's watch table with a check box per item, the value of each poll
// and its trigger, and the log below. A one-second timer drives the monitor while the window
// exists, shown or not; pop-ups on the Action, Log, Updt Period and #Events columns set those, and
// a double click on the Trigger column opens the trigger window.
#pragma once

#include "WatchMonitor.h"

#include <QMainWindow>

#include <memory>

class IRegisterTransport;
class QMenu;
class QPlainTextEdit;
class QTableWidget;
class QTimer;

class CWatchDlg : public QMainWindow
{
    Q_OBJECT

public:
    CWatchDlg(CNetworkDocument& document, IRegisterTransport& transport, QWidget* pParent = nullptr);

    CWatchMonitor& Monitor() { return m_monitor; }
    QTableWidget* Table() const { return m_pTable; }
    QPlainTextEdit* LogBox() const { return m_pLog; }
    QTimer* Timer() const { return m_pTimer; }

    // Adds an item and shows the window with it.
    int AddWatch(const SWatchRequest& request);
    // The rows made anew from the document's table (after a map was opened).
    void Rebuild();
    // Opens the trigger window on an item; true when it was accepted.
    bool EditTrigger(int i);
    // Log > Generate Report: the Watch Window Report of the table and the log in the display base,
    // shown when written; false with the failure shown.
    bool GenerateReport();
    // The pop-up menu of a cell, as a right click opens it (null for a column without one).
    std::unique_ptr<QMenu> CellMenu(int i, int iColumn);

signals:
    // The watch table changed (the map counts as modified).
    void modified();
    // A highlight on the map came or went.
    void mapRedraw();

protected:
    bool eventFilter(QObject* pObject, QEvent* pEvent) override;

private:
    void BuildMenus();
    void RefreshRow(int i);
    void FitColumn(int iColumn, const QString& strText);
    void AppendLog(const QString& strLine);
    void OnCellChanged(int iRow, int iColumn);

    CNetworkDocument& m_document;
    CWatchMonitor m_monitor;
    QTableWidget* m_pTable = nullptr;
    QPlainTextEdit* m_pLog = nullptr;
    QTimer* m_pTimer = nullptr;
    bool m_bFilling = false; // rows are being filled: check box changes are ours
};

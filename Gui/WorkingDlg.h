// The working window: a modal progress window with a title, a progress line, an optional log
// pane and a Cancel button. Long operations call it from the user interface thread; each call
// pumps the event loop so the window stays alive and Cancel can be pressed.
#pragma once

#include <QDialog>

class QLabel;
class QPlainTextEdit;
class QPushButton;

class CWorkingDlg : public QDialog
{
    Q_OBJECT

public:
    CWorkingDlg(const QString& strTitle, bool bWithLog, QWidget* pParent = nullptr);

    void SetProgress(const QString& strText);
    void AppendLog(const QString& strLine);
    bool Cancelled() const { return m_bCancelled; }
    // Handles the events that are waiting, so the window paints and Cancel can be pressed.
    void Pump();
    // Shows a closing text and waits, with the button reading "Close", until it is pressed.
    void Finish(const QString& strText);

    QString ProgressText() const;
    QString LogText() const;

private:
    QLabel* m_pProgress = nullptr;
    QPlainTextEdit* m_pLog = nullptr;
    QPushButton* m_pButton = nullptr;
    bool m_bCancelled = false;
};

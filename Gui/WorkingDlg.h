// The working window: a modal progress window with a title, a progress line, a line of counts, an
// optional log pane and a Cancel button. Long operations call it from the user interface thread;
// each call pumps the event loop so the window stays alive and Cancel can be pressed. A window
// with a log has a Details button that opens and closes the pane, and a pin that keeps the window
// when the work ends.
#pragma once

#include <QDialog>

class QCheckBox;
class QLabel;
class QPlainTextEdit;
class QPushButton;

class CWorkingDlg : public QDialog
{
    Q_OBJECT

public:
    CWorkingDlg(const QString& strTitle, bool bWithLog, QWidget* pParent = nullptr);

    void SetProgress(const QString& strText);
    void SetCounts(const QString& strText);
    void AppendLog(const QString& strLine);
    bool Cancelled() const { return m_bCancelled; }
    // Handles the events that are waiting, so the window paints and Cancel can be pressed.
    void Pump();
    // Shows a closing text and waits, with the button reading "Close", until it is pressed. The
    // log and the counts stay as they are.
    void Finish(const QString& strText);

    // The details pane and the pin (both off without a log).
    void SetDetails(bool bShown);
    void SetPinned(bool bPinned);
    bool DetailsShown() const;
    bool Pinned() const;

    QString ProgressText() const;
    QString CountsText() const;
    QString LogText() const;
    QPushButton* Button() const { return m_pButton; }
    QPushButton* DetailsButton() const { return m_pDetails; }
    QCheckBox* PinBox() const { return m_pPin; }

    // Escape or the window's close box during the work is a Cancel; the window goes when the work
    // is done with it.
    void reject() override;

private:
    QLabel* m_pProgress = nullptr;
    QLabel* m_pCounts = nullptr;
    QPlainTextEdit* m_pLog = nullptr;
    QPushButton* m_pDetails = nullptr;
    QCheckBox* m_pPin = nullptr;
    QPushButton* m_pButton = nullptr;
    bool m_bCancelled = false;
    bool m_bFinishing = false;
};

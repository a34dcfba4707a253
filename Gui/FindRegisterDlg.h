// "Find Registers": finds the next register of the network browser's register trees whose name,
// group title, offset or field names hold a text, from the item after the one picked. The options
// and the last search texts are kept in the preferences.
#pragma once

#include "RegisterSearch.h"

#include <QDialog>
#include <QPointer>

#include <array>

class CNetBrowserDlgBar;
class QCheckBox;
class QComboBox;
class QLabel;
class QPushButton;

class CFindRegisterDlg : public QDialog
{
    Q_OBJECT

public:
    // The most search texts kept.
    static constexpr int kHistorySize = 11;

    // The options and the history come from the preferences.
    explicit CFindRegisterDlg(CNetBrowserDlgBar* pBrowser, QWidget* pParent = nullptr);

    // Find Next: true when a register was found and picked in the browser. The status line says
    // what happened.
    bool FindNext();

    SRegisterSearchOptions Options() const;
    void SetOptions(const SRegisterSearchOptions& options);
    QComboBox* SearchCombo() const { return m_pSearch; }
    QLabel* StatusLine() const { return m_pStatus; }
    QPushButton* FindButton() const { return m_pFind; }
    // The check box of each option, in the order Match Case, Use Regular Expressions, Register
    // Names, Group Titles, Register Offsets (hex), Bitfield Names.
    QCheckBox* OptionBox(int i) const { return m_Options[static_cast<size_t>(i)]; }

    // The history as stored, newest first.
    static QStringList StoredHistory();

private:
    void StoreOptionsAndHistory();

    QPointer<CNetBrowserDlgBar> m_pBrowser;
    QComboBox* m_pSearch = nullptr;
    std::array<QCheckBox*, 6> m_Options{};
    QLabel* m_pStatus = nullptr;
    QPushButton* m_pFind = nullptr;
    bool m_bLastHit = false;
};

// The rate profile of the traffic generator: a list of lines of duration (seconds) and rate, at
// most 20, with Add, Modify, Remove, Up and Down. OK hands the profile back as steps (rate x 1000).
#pragma once

#include "DataGen.h"

#include <QDialog>

class QLineEdit;
class QListWidget;
class QPushButton;
class QTreeWidget;

class CDynamicDGDlg : public QDialog
{
    Q_OBJECT

public:
    // An empty list of steps starts from the five default lines.
    CDynamicDGDlg(uint32_t ulKind, const std::vector<std::pair<uint32_t, uint32_t>>& steps,
                  QWidget* pParent = nullptr);

    const CDataGenProfile& Profile() const { return m_profile; }
    std::vector<std::pair<uint32_t, uint32_t>> Steps() const { return m_profile.Steps(); }

    QTreeWidget* List() const { return m_pList; }
    QLineEdit* DurationEdit() const { return m_pDuration; }
    QLineEdit* RateEdit() const { return m_pRate; }

    // The buttons' work; a refusal shows its message and changes nothing.
    bool Add();
    bool Modify();
    void Remove();
    void Up();
    void Down();

private:
    void Fill(int nSelect);
    int Selected() const;

    CDataGenProfile m_profile;
    QTreeWidget* m_pList = nullptr;
    QLineEdit* m_pDuration = nullptr;
    QLineEdit* m_pRate = nullptr;
};

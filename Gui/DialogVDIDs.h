// "Virtual Destination IDs" of a PE: the mode (disabled, secondary destination IDs, accept all),
// how many IDs it allows, the IDs themselves and an automatic choice of free ones. OK checks the
// list and writes it to the PE; a list that is wrong keeps the window open. The logic is
// CVDIDConfig's; this window only shows it.
#pragma once

#include "VDIDCommands.h"
#include "VDIDConfig.h"

#include <QDialog>

class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;

class CDialogVDIDs : public QDialog
{
    Q_OBJECT

public:
    // The PE to configure on a map whose PEs are PEs; bLong: the network uses 16-bit IDs.
    CDialogVDIDs(CPEPrimitive& pe, const CPEList& PEs, bool bLong, QWidget* pParent = nullptr);

    QRadioButton* DisabledButton() const { return m_pDisabled; }
    QRadioButton* SecondaryButton() const { return m_pSecondary; }
    QRadioButton* AcceptAllButton() const { return m_pAcceptAll; }
    QLabel* SupportLabel() const { return m_pSupport; }
    QLineEdit* IDEdit() const { return m_pIDs; }
    QPushButton* AutoButton() const { return m_pAuto; }

    void accept() override;

private:
    void ShowMode();

    CPEPrimitive& m_pe;
    CVDIDConfig m_config;
    QRadioButton* m_pDisabled = nullptr;
    QRadioButton* m_pSecondary = nullptr;
    QRadioButton* m_pAcceptAll = nullptr;
    QLabel* m_pSupport = nullptr;
    QLineEdit* m_pIDs = nullptr;
    QPushButton* m_pAuto = nullptr;
};

// The way the frame's Configure VDIDs command shows this window, over pParent.
VDIDDialogFn VDIDDialogRunner(QWidget* pParent);

#pragma once
// The parameter dialog of the DFE Adjust ("DFE Adjust Algorithm"): the bit error rate of each
// measurement, five rows of a tap to try and the step to try it by (only the enabled rows take
// part, in row order), and the iterations of the climb.

#include "DfeParams.h"
#include "DfeScanParamsDlg.h"

#include <QDialog>

class QCheckBox;
class QComboBox;
class QLineEdit;
class QPushButton;

class CIDT_DFE_AdjustParamsDlg : public QDialog
{
    Q_OBJECT
public:
    CIDT_DFE_AdjustParamsDlg(const SDfeLine& line, QWidget* pParent = nullptr);

    // The block, filled when the dialog was accepted by Go.
    const SDfeAdjustParams& Params() const { return m_params; }
    SDfeAdjustEntry Entry() const;
    // Checks the enabled rows' deltas and, when they are numbers, remembers the fields, fills the
    // block and accepts.
    bool Go();

    CDfeBerEdit* BerEdit() const { return m_pBer; }
    QCheckBox* EnableBox(int iRow) const { return m_apEnable[iRow]; }
    QComboBox* TapBox(int iRow) const { return m_apTap[iRow]; }
    QLineEdit* DeltaEdit(int iRow) const { return m_apDelta[iRow]; }
    QComboBox* IterationsBox() const { return m_pIterations; }
    QPushButton* GoButton() const { return m_pGo; }

private:
    SDfeLine m_line;
    SDfeAdjustParams m_params;
    CDfeBerEdit* m_pBer = nullptr;
    QCheckBox* m_apEnable[5] = {};
    QComboBox* m_apTap[5] = {};
    QLineEdit* m_apDelta[5] = {};
    QComboBox* m_pIterations = nullptr;
    QPushButton* m_pGo = nullptr;
};

#pragma once
// The parameter dialog of the DFE Monitor ("DFE Monitor Algorithm"): the bit error rate of one
// sample, the bucket's leak rate and the count at which it fails, and the iterations to watch.

#include "DfeParams.h"
#include "DfeScanParamsDlg.h"

#include <QDialog>

class QComboBox;
class QPushButton;

class CIDT_DFE_MonitorParamsDlg : public QDialog
{
    Q_OBJECT
public:
    CIDT_DFE_MonitorParamsDlg(const SDfeLine& line, QWidget* pParent = nullptr);

    // The block, filled when the dialog was accepted by Go.
    const SDfeMonitorParams& Params() const { return m_params; }
    SDfeMonitorEntry Entry() const;
    // Remembers the fields, fills the block and accepts.
    void Go();

    CDfeBerEdit* BerEdit() const { return m_pBer; }
    QComboBox* LeakBox() const { return m_pLeak; }
    QComboBox* FailBox() const { return m_pFail; }
    QComboBox* IterationsBox() const { return m_pIterations; }
    QPushButton* GoButton() const { return m_pGo; }

private:
    SDfeLine m_line;
    SDfeMonitorParams m_params;
    CDfeBerEdit* m_pBer = nullptr;
    QComboBox* m_pLeak = nullptr;
    QComboBox* m_pFail = nullptr;
    QComboBox* m_pIterations = nullptr;
    QPushButton* m_pGo = nullptr;
};

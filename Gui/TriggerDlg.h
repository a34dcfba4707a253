// The trigger of one watch item: the type from the eleven conditions, and the parameters X1 and
// X2 in the display base, each box active only when the type needs it.
#pragma once

#include "WatchItem.h"

#include <QDialog>

#include <functional>

class QComboBox;
class QLineEdit;

class CTriggerDlg : public QDialog
{
    Q_OBJECT

public:
    // Takes whether the entry is accepted (showing why not): false keeps the window open.
    using Acceptor = std::function<bool(int eType, const QString& strX1, const QString& strX2)>;

    CTriggerDlg(const WatchItem& item, int nBase, Acceptor acceptor, QWidget* pParent = nullptr);

    QComboBox* TypeCombo() const { return m_pType; }
    QLineEdit* X1Edit() const { return m_pX1; }
    QLineEdit* X2Edit() const { return m_pX2; }

    void accept() override;

private:
    void OnTypeChanged(int eType);

    Acceptor m_acceptor;
    QComboBox* m_pType = nullptr;
    QLineEdit* m_pX1 = nullptr;
    QLineEdit* m_pX2 = nullptr;
};

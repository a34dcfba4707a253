// The choice of an EEPROM part from the table of parts, kept as the preference "DefaultI2Cchip".
#pragma once

#include <QDialog>

struct SEepromType;
class QTreeWidget;

class CEepromTypeSelectDlg : public QDialog
{
    Q_OBJECT

public:
    explicit CEepromTypeSelectDlg(QWidget* pParent = nullptr);

    QTreeWidget* List() const { return m_pList; }
    // "Next": with a row selected, keeps it and accepts; else "Please select an EEPROM Device".
    bool OnNext();
    // The part chosen, or null.
    const SEepromType* Chosen() const { return m_pChosen; }

    // The part of the preference, or null when it names none.
    static const SEepromType* DefaultType();

private:
    QTreeWidget* m_pList = nullptr;
    const SEepromType* m_pChosen = nullptr;
};

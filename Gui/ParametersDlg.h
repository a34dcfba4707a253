// Settings > Parameters: where the server links go. The server port, the local UDP port, the
// broadcast address and ports of the target search, and the wait limits, each checked by the
// number entry rule (the address as an IPv4 address) before anything is stored.
#pragma once

#include <QDialog>

#include <vector>

class QLineEdit;

class CParametersDlg : public QDialog
{
    Q_OBJECT

public:
    explicit CParametersDlg(QWidget* pParent = nullptr);

    // The field of a parameter, in the order of LinkParameters().
    QLineEdit* Field(int i) const { return m_Fields[static_cast<size_t>(i)]; }
    // Puts the standard values in the fields.
    void SetDefaults();
    // Checks every field and stores them all; false (with the message, the field at fault
    // selected) keeps the dialog open and stores nothing.
    bool Store();
    void accept() override;

private:
    std::vector<QLineEdit*> m_Fields;
};

// "Norvanta Debug Logging": one check per channel of the debug log (each writes its key at
// once), Clear Log, View Log, and Create Debug Key, which writes a key file for a chosen day.
#pragma once

#include "DebugLog.h"

#include <QDialog>

#include <array>

class QCheckBox;
class QDateEdit;

class CDebugLoggingDlg : public QDialog
{
    Q_OBJECT

public:
    explicit CDebugLoggingDlg(QWidget* pParent = nullptr);

    QCheckBox* Check(int nChannel) const { return m_apChecks[static_cast<size_t>(nChannel)]; }
    QDateEdit* KeyDate() const { return m_pDate; }

    void ClearTheLog();
    // Opens the log with the program the desktop associates with it; false with the error text.
    bool ViewLog();
    // Asks for the directory and writes the key file of the chosen day with the checks shown.
    bool CreateDebugKey();

private:
    std::array<QCheckBox*, eDebugChannelCount> m_apChecks{};
    QDateEdit* m_pDate = nullptr;
};

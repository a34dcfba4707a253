// Default Settings: the transport size, the host IDs and every question that may be dismissed
// for good, each in one of its three states, in one place.
#pragma once

#include <QDialog>

#include <vector>

class QComboBox;
class QLineEdit;
class QRadioButton;

class CDefaultSettingsDlg : public QDialog
{
    Q_OBJECT

public:
    explicit CDefaultSettingsDlg(QWidget* pParent = nullptr);

    // The state combo of a question, in the order of DefaultSettingsQuestions().
    QComboBox* QuestionCombo(int i) const { return m_Questions[static_cast<size_t>(i)]; }
    QRadioButton* LargeTransport() const { return m_pLarge; }

    // Checks and stores what the dialog shows; false (with the message) keeps it open.
    bool Store();
    void accept() override;

private:
    std::vector<QComboBox*> m_Questions;
    QRadioButton* m_pLarge = nullptr;
    QLineEdit* m_pSmallHostID = nullptr;
    QLineEdit* m_pLargeHostID = nullptr;
};

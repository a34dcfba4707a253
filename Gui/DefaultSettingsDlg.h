// Default Settings: in one place, the transport size and the host IDs, how discovery's working
// window shows, the automatic update check, every question that may be dismissed for good (each in
// one of its states), and the directories where things are installed.
#pragma once

#include <QDialog>

#include <vector>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QRadioButton;
class QTabWidget;

class CDefaultSettingsDlg : public QDialog
{
    Q_OBJECT

public:
    explicit CDefaultSettingsDlg(QWidget* pParent = nullptr);

    // The state combo of a question, in the order of DefaultSettingsQuestions().
    QComboBox* QuestionCombo(int i) const { return m_Questions[static_cast<size_t>(i)]; }
    // The field of a directory, in the order of DefaultSettingsDirectories().
    QLineEdit* DirectoryField(int i) const { return m_Directories[static_cast<size_t>(i)]; }
    QRadioButton* LargeTransport() const { return m_pLarge; }
    QLineEdit* SmallHostID() const { return m_pSmallHostID; }
    QCheckBox* DiscoveryDetails() const { return m_pDetails; }
    QCheckBox* DiscoveryPinned() const { return m_pPinned; }
    QCheckBox* CheckForUpdates() const { return m_pCheckForUpdates; }
    QLineEdit* UpdateInterval() const { return m_pUpdateInterval; }
    QLabel* LastCheck() const { return m_pLastCheck; }
    QTabWidget* Tabs() const { return m_pTabs; }

    // Checks and stores what the dialog shows; false (with the message, on the page of the field
    // at fault) keeps it open and stores nothing.
    bool Store();
    void accept() override;

private:
    QWidget* MakeGeneralPage();
    QWidget* MakeQuestionsPage();
    QWidget* MakeDirectoriesPage();
    // Shows the page of a field at fault and puts the cursor in it.
    void ShowField(QWidget* pField);

    QTabWidget* m_pTabs = nullptr;
    std::vector<QComboBox*> m_Questions;
    std::vector<QLineEdit*> m_Directories;
    QRadioButton* m_pLarge = nullptr;
    QLineEdit* m_pSmallHostID = nullptr;
    QLineEdit* m_pLargeHostID = nullptr;
    QCheckBox* m_pDetails = nullptr;
    QCheckBox* m_pPinned = nullptr;
    QCheckBox* m_pCheckForUpdates = nullptr;
    QLineEdit* m_pUpdateInterval = nullptr;
    QLabel* m_pLastCheck = nullptr;
};

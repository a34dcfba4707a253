// "Report Directories": where each of the five kinds of report keeps its templates and writes its
// pages (preferences PEReportDir, PMReportDir, RegReportDir, RTReportDir, WWReportDir of the section
// Directories). An empty box stands for the default, which the box shows greyed.
#pragma once

#include "Report.h"

#include <QDialog>

#include <array>

class QLineEdit;
class QPushButton;

class CReportDirsDlg : public QDialog
{
    Q_OBJECT

public:
    explicit CReportDirsDlg(QWidget* pParent = nullptr);

    QLineEdit* Edit(EReportKind eKind) const { return m_apEdits[static_cast<size_t>(eKind)]; }
    QPushButton* BrowseButton(EReportKind eKind) const { return m_apBrowse[static_cast<size_t>(eKind)]; }

    // Asks for a directory ("Choose a directory for PE Reports" and so on) and puts it in the box.
    void Browse(EReportKind eKind);
    // Stores the five directories; a store that fails shows "Unable to save PE Reports directory
    // name in registry." (and so on) and keeps the dialog open.
    bool Save();

    void accept() override;

private:
    std::array<QLineEdit*, eReportKindCount> m_apEdits{};
    std::array<QPushButton*, eReportKindCount> m_apBrowse{};
};

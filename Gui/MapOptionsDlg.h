// The Labels dialog: the map options of the window and of printing, side by side.
#pragma once

#include "MapOptions.h"

#include <QDialog>

#include <array>

class QCheckBox;

class CMapOptionsDlg : public QDialog
{
    Q_OBJECT

public:
    CMapOptionsDlg(const SMapOptions& window, const SMapOptions& printing, QWidget* pParent = nullptr);

    SMapOptions WindowOptions() const;
    SMapOptions PrintOptions() const;
    QCheckBox* Check(EMapOption eOption, bool bPrinting) const;

private:
    std::array<QCheckBox*, eMapOptionCount> m_apWindow{};
    std::array<QCheckBox*, eMapOptionCount> m_apPrint{};
};

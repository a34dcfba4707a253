#include "OScopeCtrl.h"

#include <QChart>
#include <QChartView>
#include <QLineSeries>
#include <QPainter>
#include <QVBoxLayout>
#include <QValueAxis>

#include <algorithm>
#include <cmath>

namespace
{
// A step of 1, 2, 2.5 or 5 times a power of ten that cuts the span into about four parts, so the
// axis reads 0, 50, 100, ... rather than 0, 69, 138, ...
double NiceStep(double dSpan)
{
    if (!(dSpan > 0.0))
        return 1.0;
    const double dRough = dSpan / 4.0;
    const double dPower = std::pow(10.0, std::floor(std::log10(dRough)));
    for (double dFactor : {1.0, 2.0, 2.5, 5.0, 10.0})
    {
        if (dFactor * dPower >= dRough)
            return dFactor * dPower;
    }
    return 10.0 * dPower;
}
} // namespace

COScopeCtrl::COScopeCtrl(QWidget* pParent) : QWidget(pParent)
{
    m_pChart = new QChart;
    m_pChart->legend()->hide();
    m_pChart->setMargins(QMargins(4, 4, 4, 4));
    m_pSeries = new QLineSeries;
    m_pChart->addSeries(m_pSeries);
    m_pAxisX = new QValueAxis;
    m_pAxisY = new QValueAxis;
    m_pAxisX->setLabelFormat(QStringLiteral("%d"));
    m_pAxisX->setTickType(QValueAxis::TicksDynamic);
    m_pAxisY->setTickType(QValueAxis::TicksDynamic);
    m_pChart->addAxis(m_pAxisX, Qt::AlignBottom);
    m_pChart->addAxis(m_pAxisY, Qt::AlignLeft);
    m_pSeries->attachAxis(m_pAxisX);
    m_pSeries->attachAxis(m_pAxisY);
    m_pView = new QChartView(m_pChart, this);
    m_pView->setRenderHint(QPainter::Antialiasing);
    m_pView->setMinimumSize(320, 180);
    auto* pLayout = new QVBoxLayout(this);
    pLayout->setContentsMargins(0, 0, 0, 0);
    pLayout->addWidget(m_pView);
    Redraw();
}

void COScopeCtrl::SetRange(double dLower, double dUpper, int nDecimals)
{
    m_dLower = dLower;
    m_dUpper = dUpper > dLower ? dUpper : dLower + 1.0;
    m_nDecimals = std::clamp(nDecimals, 0, 12);
    Redraw();
}

void COScopeCtrl::SetXUnits(const QString& strUnits)
{
    m_strXUnits = strUnits;
    Redraw();
}

void COScopeCtrl::SetYUnits(const QString& strUnits)
{
    m_strYUnits = strUnits;
    Redraw();
}

void COScopeCtrl::SetSamples(int nSamples)
{
    m_nSamples = std::max(2, nSamples);
    while (static_cast<int>(m_points.size()) > m_nSamples)
        m_points.pop_front();
    Redraw();
}

void COScopeCtrl::SetTitle(const QString& strTitle)
{
    m_pChart->setTitle(strTitle);
}

void COScopeCtrl::AppendPoint(double dValue)
{
    m_points.push_back(dValue);
    if (static_cast<int>(m_points.size()) > m_nSamples)
        m_points.pop_front();
    Redraw();
}

void COScopeCtrl::Reset()
{
    m_points.clear();
    Redraw();
}

QString COScopeCtrl::YLabel(double dValue) const
{
    return QString::asprintf("%.*lf", m_nDecimals, dValue);
}

void COScopeCtrl::Redraw()
{
    // The newest point stands at the right edge; each new one shifts the rest one step left.
    QList<QPointF> points;
    points.reserve(static_cast<int>(m_points.size()));
    const int nFirst = m_nSamples - static_cast<int>(m_points.size());
    int i = 0;
    for (double dValue : m_points)
        points.append(QPointF(nFirst + ++i, std::clamp(dValue, m_dLower, m_dUpper)));
    m_pSeries->replace(points);
    m_pAxisX->setRange(0, m_nSamples);
    m_pAxisX->setTickAnchor(0);
    m_pAxisX->setTickInterval(std::max(1.0, std::round(NiceStep(m_nSamples))));
    m_pAxisX->setTitleText(m_strXUnits);
    m_pAxisY->setRange(m_dLower, m_dUpper);
    m_pAxisY->setTickAnchor(m_dLower);
    m_pAxisY->setTickInterval(NiceStep(m_dUpper - m_dLower));
    m_pAxisY->setTitleText(m_strYUnits);
    m_pAxisY->setLabelFormat(QStringLiteral("%.") + QString::number(m_nDecimals) + QStringLiteral("f"));
}

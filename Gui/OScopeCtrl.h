#pragma once
// A strip chart: a fixed number of samples across, each new point entering at the right and
// pushing the oldest out at the left. The monitors (performance, link) draw their rates on it.

#include <QString>
#include <QWidget>

#include <deque>

class QChart;
class QChartView;
class QLineSeries;
class QValueAxis;

class COScopeCtrl : public QWidget
{
    Q_OBJECT
public:
    explicit COScopeCtrl(QWidget* pParent = nullptr);

    // The Y range; labels are written with nDecimals places ("%.*lf").
    void SetRange(double dLower, double dUpper, int nDecimals);
    void SetXUnits(const QString& strUnits);
    void SetYUnits(const QString& strUnits);
    // How many samples the chart shows across; older ones fall off the left.
    void SetSamples(int nSamples);
    void SetTitle(const QString& strTitle);
    void AppendPoint(double dValue);
    void Reset();

    // What the chart holds, oldest first, and its settings, for tests and reports.
    const std::deque<double>& Points() const { return m_points; }
    int Samples() const { return m_nSamples; }
    double Lower() const { return m_dLower; }
    double Upper() const { return m_dUpper; }
    int Decimals() const { return m_nDecimals; }
    QString XUnits() const { return m_strXUnits; }
    QString YUnits() const { return m_strYUnits; }
    // A Y axis label as the chart writes it.
    QString YLabel(double dValue) const;

private:
    void Redraw();

    QChart* m_pChart = nullptr;
    QChartView* m_pView = nullptr;
    QLineSeries* m_pSeries = nullptr;
    QValueAxis* m_pAxisX = nullptr;
    QValueAxis* m_pAxisY = nullptr;
    std::deque<double> m_points;
    int m_nSamples = 100;
    double m_dLower = 0.0;
    double m_dUpper = 100.0;
    int m_nDecimals = 1;
    QString m_strXUnits = QStringLiteral("Samples");
    QString m_strYUnits = QStringLiteral("Y units");
};

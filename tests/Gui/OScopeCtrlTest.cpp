// The strip chart the monitors draw on: a fixed width of samples, new points entering at the
// right, the range clamping what is drawn, labels with the chosen decimals.
#include "GuiTestEnvironment.h"

#include "OScopeCtrl.h"

#include <QChartView>
#include <QLineSeries>
#include <QValueAxis>

#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

TEST(OScopeCtrlTest, KeepsTheLastSamplesAcrossAndDrawsTheNewestAtTheRightEdge)
{
    COScopeCtrl chart;
    EXPECT_EQ(QStringLiteral("Samples"), chart.XUnits());
    EXPECT_EQ(QStringLiteral("Y units"), chart.YUnits());
    chart.SetSamples(3);
    chart.SetRange(0.0, 10.0, 2);
    for (double d : {1.0, 2.0, 3.0, 40.0})
        chart.AppendPoint(d);
    EXPECT_EQ((std::deque<double>{2.0, 3.0, 40.0}), chart.Points());

    const QList<QLineSeries*> series = chart.findChild<QChartView*>()->chart()->findChildren<QLineSeries*>();
    ASSERT_EQ(1, series.size());
    const QList<QPointF> drawn = series.front()->points();
    ASSERT_EQ(3, drawn.size());
    // Oldest at the left, newest at the right edge (x = samples across); a value above the range is drawn at
    // its top while the chart still holds the value.
    EXPECT_EQ(QPointF(1, 2.0), drawn[0]);
    EXPECT_EQ(QPointF(3, 10.0), drawn[2]);

    // Narrowing drops the oldest; with fewer points than places they hug the right edge.
    chart.SetSamples(2);
    EXPECT_EQ((std::deque<double>{3.0, 40.0}), chart.Points());
    chart.Reset();
    chart.SetSamples(5);
    chart.AppendPoint(7.0);
    EXPECT_EQ(QPointF(5, 7.0), series.front()->points().front());
}

TEST(OScopeCtrlTest, LabelsFollowTheDecimalsAndAnEmptyRangeStillHasHeight)
{
    COScopeCtrl chart;
    chart.SetRange(0.0, 2.5, 3);
    EXPECT_EQ(QStringLiteral("1.250"), chart.YLabel(1.25));
    // Ticks fall on round numbers, whatever the range and width.
    const QList<QValueAxis*> axes = chart.findChild<QChartView*>()->chart()->findChildren<QValueAxis*>();
    chart.SetRange(0.0, 276.0, 0);
    chart.SetSamples(61);
    std::vector<double> intervals;
    for (const QValueAxis* pAxis : axes)
        intervals.push_back(pAxis->tickInterval());
    std::sort(intervals.begin(), intervals.end());
    EXPECT_EQ((std::vector<double>{20.0, 100.0}), intervals);
    chart.SetRange(0.0, 0.0, 0);
    EXPECT_GT(chart.Upper(), chart.Lower());
    EXPECT_EQ(QStringLiteral("2"), chart.YLabel(1.6));
}

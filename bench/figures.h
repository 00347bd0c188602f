#pragma once

#include <QElapsedTimer>
#include <QString>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <vector>

inline double milliseconds(const std::function<void()> &work)
{
    QElapsedTimer clock;
    clock.start();
    work();
    return double(clock.nsecsElapsed()) / 1e6;
}

inline double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.at(values.size() / 2);
}

/// The table that is printed; remembers whether a limit was missed.
class Table
{
public:
    Table()
    {
        std::printf("%-58s %11s %11s %7s %7s\n", "figure", "measured", "against", "ratio", "limit");
    }

    void row(const QString &figure, double measured, double against, double limit,
             const char *unit = "ms")
    {
        const double ratio = measured / against;
        const bool missed = ratio > limit;
        m_missed = m_missed || missed;
        std::printf("%-58s %8.2f %2s %8.2f %2s %7.2f %7.2f%s\n", qPrintable(figure), measured, unit,
                    against, unit, ratio, limit, missed ? "  MISSED" : "");
        std::fflush(stdout);
    }

    void note(const QString &text)
    {
        std::printf("%s\n", qPrintable(text));
        std::fflush(stdout);
    }

    int exitCode() const
    {
        return m_missed ? 1 : 0;
    }

private:
    bool m_missed = false;
};

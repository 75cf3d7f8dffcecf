#include "joblist/jobtable.h"

#include <QTableWidget>

#include <algorithm>
#include <functional>

void appendJobs(QTableWidget &table, const QList<Job> &jobs)
{
    int row = table.rowCount();
    table.setRowCount(row + static_cast<int>(jobs.size()));
    for (const Job &job : jobs) {
        setJobText(table, row, InputColumn, job.input);
        setJobText(table, row, SourceColumn, job.source);
        setJobText(table, row, SizeColumn, QString());
        setJobText(table, row, InformationColumn, QString());
        ++row;
    }
}

void removeJobs(QTableWidget &table, QList<int> rows)
{
    // From the end on, so that no removal shifts a row that is still to go; neighbours go together.
    std::sort(rows.begin(), rows.end(), std::greater<>());
    rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
    for (auto last = rows.cbegin(); last != rows.cend();) {
        auto next = last + 1;
        while (next != rows.cend() && *next == *(next - 1) - 1)
            ++next;
        table.model()->removeRows(*(next - 1), static_cast<int>(next - last));
        last = next;
    }
}

QString jobText(const QTableWidget &table, int row, JobColumn column)
{
    const QTableWidgetItem *item = table.item(row, column);
    return item ? item->text() : QString();
}

void setJobText(QTableWidget &table, int row, JobColumn column, const QString &text)
{
    // The table takes ownership only of an item that it has a place for.
    if (row >= 0 && row < table.rowCount())
        table.setItem(row, column, new QTableWidgetItem(text));
}

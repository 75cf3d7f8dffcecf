#include "ui/jobtable.h"

#include <QTableWidget>

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

#pragma once

#include <QList>
#include <QString>

class QTableWidget;

/// The columns of the job list.
enum JobColumn { InputColumn, SourceColumn, SizeColumn, InformationColumn, JobColumnCount };

/// The texts of SourceColumn. A row with neither gets an empty output name.
namespace JobSource
{
inline constexpr char16_t LocalFile[] = u"Local File";
inline constexpr char16_t OnlineFile[] = u"Online File";
} // namespace JobSource

/// One row as it is added.
// cppcheck-suppress ctuOneDefinitionRuleViolation // the engine's Job is another program's
struct Job {
    QString input;  ///< absolute path, or the address as typed
    QString source; ///< one of JobSource, or empty
};

/// Sets how the table shows its cells: sizes right-aligned, long texts elided in the middle, where paths and
/// addresses differ least, with the whole text as a tool tip.
void setUpCells(QTableWidget &table);

/// Adds rows at the end, in order, with an item in every cell.
void appendJobs(QTableWidget &table, const QList<Job> &jobs);

/// The text of a cell; empty if there is no such cell.
QString jobText(const QTableWidget &table, int row, JobColumn column);

/// Puts a new item with this text into a cell, if the table has that row.
void setJobText(QTableWidget &table, int row, JobColumn column, const QString &text);

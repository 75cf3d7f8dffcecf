#pragma once

#include <QList>
#include <QString>

class QTableWidget;

/// The columns of the job list.
enum JobColumn { InputColumn, SourceColumn, SizeColumn, InformationColumn, JobColumnCount };

/// What column SourceColumn says of a row. A row that says neither has no output name of its own.
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

/// How the table shows its cells: sizes at the right, and what a column is too narrow for whole as a tool
/// tip. Texts are cut in their middle, where paths and addresses differ least.
void setUpCells(QTableWidget &table);

/// Adds rows at the end, in order, with an item in every cell.
void appendJobs(QTableWidget &table, const QList<Job> &jobs);

/// The text of a cell; empty where there is none.
QString jobText(const QTableWidget &table, int row, JobColumn column);

/// Puts a new item with this text into a cell, if the table has that row.
void setJobText(QTableWidget &table, int row, JobColumn column, const QString &text);

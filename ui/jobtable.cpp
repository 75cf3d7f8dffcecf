#include "ui/jobtable.h"

#include <QHelpEvent>
#include <QStyledItemDelegate>
#include <QTableWidget>
#include <QToolTip>

namespace
{

/// Text for a tool tip: escaped, and cut into lines, as a path has few places for line breaks.
QString toolTip(const QString &text)
{
    constexpr qsizetype lineLength = 100;
    QStringList lines;
    for (qsizetype start = 0; start < text.size(); start += lineLength)
        lines << text.sliced(start, std::min(lineLength, text.size() - start)).toHtmlEscaped();
    return QStringLiteral("<p style='white-space:pre'>") + lines.join(QStringLiteral("<br>"));
}

class CellDelegate : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    bool helpEvent(QHelpEvent *event, QAbstractItemView *view, const QStyleOptionViewItem &option,
                   const QModelIndex &index) override
    {
        const bool isCut = sizeHint(option, index).width() > option.rect.width();
        if (event->type() != QEvent::ToolTip || !isCut)
            return QStyledItemDelegate::helpEvent(event, view, option, index);
        QToolTip::showText(event->globalPos(), toolTip(index.data().toString()), view, option.rect);
        return true;
    }

protected:
    void initStyleOption(QStyleOptionViewItem *option, const QModelIndex &index) const override
    {
        QStyledItemDelegate::initStyleOption(option, index);
        if (index.column() == SizeColumn)
            option->displayAlignment = Qt::AlignRight | Qt::AlignVCenter;
    }
};

} // namespace

void setUpCells(QTableWidget &table)
{
    table.setItemDelegate(new CellDelegate(&table));
    table.setTextElideMode(Qt::ElideMiddle);
    table.setWordWrap(false);
}

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
    // setItem() takes ownership of the item only if the row exists.
    if (row >= 0 && row < table.rowCount())
        table.setItem(row, column, new QTableWidgetItem(text));
}

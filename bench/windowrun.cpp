// windowrun FOLDER FILE…
// Lists the files in the main window, presses Start, and prints how many milliseconds the run into the folder
// took. The exit code tells whether every row says "Success".
#include "app/mainwindow.h"
#include "ui/jobtable.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QPushButton>
#include <QTableWidget>
#include <QTimer>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace
{

template <typename Control>
Control &control(const MainWindow &window, const QString &name)
{
    auto *found = window.findChild<Control *>(name);
    if (!found)
        qFatal("no control %s", qPrintable(name));
    return *found;
}

void listFiles(QTableWidget &table, const QStringList &files)
{
    QList<Job> jobs;
    for (const QString &file : files)
        jobs.append({file, QString::fromUtf16(JobSource::LocalFile)});
    appendJobs(table, jobs);
}

bool allSucceeded(const QTableWidget &table)
{
    for (int row = 0; row < table.rowCount(); ++row) {
        if (jobText(table, row, InformationColumn) != "Success"_L1)
            return false;
    }
    return true;
}

} // namespace

int main(int argc, char *argv[])
{
    const QApplication application(argc, argv);
    QStringList files = QApplication::arguments().mid(1);
    if (files.size() < 2) {
        fputs("windowrun FOLDER FILE...\n", stderr);
        return 2;
    }
    const QString folder = files.takeFirst();

    MainWindow window;
    window.setFixedSize(730, 450);
    window.show();
    window.InitAllChoice();
    auto &table = control<QTableWidget>(window, u"tableWidget"_s);
    auto &start = control<QPushButton>(window, u"pushButton_Convert"_s);
    control<QLineEdit>(window, u"lineEdit_OutPutPath"_s).setText(folder);
    listFiles(table, files);

    QElapsedTimer timer;
    QObject::connect(&table, &QTableWidget::itemChanged, &window, [&](const QTableWidgetItem *item) {
        const bool isLast = item->row() == table.rowCount() - 1 && item->column() == InformationColumn;
        if (!isLast || (item->text() != "Success"_L1 && item->text() != "Failed"_L1))
            return;
        printf("%lld\n", static_cast<long long>(timer.elapsed()));
        QApplication::exit(allSucceeded(table) ? 0 : 1);
    });
    QTimer begin;
    begin.setSingleShot(true);
    QObject::connect(&begin, &QTimer::timeout, &start, [&] {
        timer.start();
        start.click();
    });
    begin.start(0);
    return QApplication::exec();
}

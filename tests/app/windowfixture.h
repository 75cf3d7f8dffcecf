#pragma once

#include "app/mainwindow.h"
#include "settings/settingsfile.h"
#include "ui/jobtable.h"

#include <QAbstractButton>
#include <QApplication>
#include <QFile>
#include <QFileDialog>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSettings>
#include <QTableWidget>
#include <QTest>
#include <QTimer>

#include <functional>

/// A main window as main makes it, and its controls.
struct WindowFixture {
    WindowFixture()
    {
        window.setFixedSize(730, 450);
        window.show();
        window.InitAllChoice();
    }

    template <typename Control>
    Control &control(const char *name)
    {
        auto *found = window.findChild<Control *>(QString::fromLatin1(name));
        if (!found)
            qFatal("no control %s", name);
        return *found;
    }

    void press(const char *button) { control<QPushButton>(button).click(); }

    void addRow(const QString &input, const char16_t *source = JobSource::LocalFile)
    {
        appendJobs(table, {{input, QString::fromUtf16(source)}});
    }

    QString text(int row, JobColumn column) const { return jobText(table, row, column); }

    QStringList inputs() const
    {
        QStringList texts;
        for (int row = 0; row < table.rowCount(); ++row)
            texts << text(row, InputColumn);
        return texts;
    }

    MainWindow window;
    QTableWidget &table = control<QTableWidget>("tableWidget");
    QPushButton &startButton = control<QPushButton>("pushButton_Convert");
    QProgressBar &progress = control<QProgressBar>("progressBarA");
    QLineEdit &outputFolder = control<QLineEdit>("lineEdit_OutPutPath");
};

/// Does something with the dialog that opens next, and closes it if it is still open then.
class DialogAnswer
{
public:
    explicit DialogAnswer(std::function<void(QDialog &)> answer) : m_answer(std::move(answer))
    {
        m_timer.callOnTimeout([this] {
            auto *dialog = qobject_cast<QDialog *>(QApplication::activeModalWidget());
            if (!dialog || !dialog->isVisible())
                return;
            m_timer.stop();
            m_given = true;
            m_answer(*dialog);
            if (dialog->isVisible())
                dialog->reject();
        });
        m_timer.start(5);
    }

    /// Whether a dialog has come.
    bool given() const { return m_given; }

private:
    std::function<void(QDialog &)> m_answer;
    QTimer m_timer;
    bool m_given = false;
};

/// Types names into the open file dialog and accepts it.
inline void chooseFiles(QDialog &dialog, const QStringList &files)
{
    auto *edit = dialog.findChild<QLineEdit *>(QStringLiteral("fileNameEdit"));
    QVERIFY(edit);
    edit->setText(files.size() == 1 ? files.first()
                                    : QStringLiteral("\"%1\"").arg(files.join(QStringLiteral("\" \""))));
    QMetaObject::invokeMethod(&dialog, "accept");
}

inline void storeSetting(const char16_t *key, const QString &value)
{
    QSettings settings(settingsFilePath(), QSettings::IniFormat);
    settings.setValue(key, value);
}

inline QString storedSetting(const char16_t *key)
{
    const QSettings settings(settingsFilePath(), QSettings::IniFormat);
    return settings.value(key, QStringLiteral("(absent)")).toString();
}

#pragma once

#include <QString>
#include <QThread>

#include <atomic>

/// Writes numbered lines to the debug log at random intervals of 1 to 3000 ms until it is told to stop.
class MyThread : public QThread
{
public:
    explicit MyThread(const QString &name);

    /// With `true`, the thread ends before its next message, at most one sleep later; called before start(),
    /// it ends without a message.
    void stopThread(bool stop);
    /// Writes one line: the thread's name and the message's number.
    void produceMessage(int number);

    void run() override;

private:
    QString m_strName;
    std::atomic<bool> m_bStop;
};

#include "conversion/mythread.h"

#include <QDebug>

#include <cstdlib>

MyThread::MyThread(const QString &name) : m_strName(name), m_bStop(false) {}

void MyThread::stopThread(bool stop)
{
    m_bStop = stop;
}

void MyThread::run()
{
    for (int number = 0; !m_bStop; ++number) {
        produceMessage(number);
        msleep(static_cast<unsigned long>(std::rand() % 3000 + 1));
    }
}

void MyThread::produceMessage(int number)
{
    // Both markers in one call, so that a "%2" in the name is not replaced.
    qDebug().noquote() << QStringLiteral("Producing %1:%2").arg(m_strName, QString::number(number));
}

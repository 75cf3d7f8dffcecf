#include "app/mainwindow.h"

void MainWindow::Setting()
{
    // Also during a run: what is saved holds from the next job on.
    m_settingDialog.exec();
}

#include "app/mainwindow.h"
#include "dialogs/aboutdlg.h"

void MainWindow::RegisterOrAbout()
{
    AboutDlg about(nullptr);
    about.exec();
}

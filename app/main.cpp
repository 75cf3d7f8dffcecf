#include "app/mainwindow.h"

#include <QApplication>

int main(int argc, char *argv[])
{
    const QApplication application(argc, argv);
    MainWindow window;
    // The size that the user sees is set by InitAllChoice.
    window.setFixedSize(730, 450);
    window.show();
    window.InitAllChoice();
    return QApplication::exec();
}

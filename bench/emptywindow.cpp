// The least that a Qt Widgets program can be: what the start of the workstation is compared with.
#include <QApplication>
#include <QWidget>

int main(int argc, char *argv[])
{
    const QApplication application(argc, argv);
    QWidget window;
    window.resize(1180, 700);
    window.show();
    return QApplication::exec();
}

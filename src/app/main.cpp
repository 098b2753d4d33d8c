#include <QApplication>
#include <QMainWindow>

#include <cstdio>
#include <cstring>

#include "version.h"

int main(int argc, char* argv[])
{
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--version") == 0) {
            std::printf("linkport-toolkit %s\n", lp::version::text);
            return 0;
        }
    }
    QApplication app(argc, argv);
    QMainWindow window;
    window.setWindowTitle("HVN Linkport Toolkit");
    window.show();
    return app.exec();
}

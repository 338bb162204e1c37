// The baseline for the module's start: a program with only an application object.

#include <QCoreApplication>

#include <cstdio>

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    std::puts("ready");
    return 0;
}

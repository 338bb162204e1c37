// What starting the module is compared with: a program that has an application object and nothing else.

#include <QCoreApplication>

#include <cstdio>

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    std::puts("ready");
    return 0;
}

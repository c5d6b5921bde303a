#include <gtest/gtest.h>

#include <QCoreApplication>
#include <clocale>

int main(int argc, char* argv[])
{
    testing::InitGoogleTest(&argc, argv);
    // File names are UTF-8 here, whatever the locale of who runs this.
    std::setlocale(LC_ALL, "C.UTF-8");
    QCoreApplication application(argc, argv);
    return RUN_ALL_TESTS();
}

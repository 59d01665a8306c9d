#include <QCoreApplication>
#include <clocale>

#include <gtest/gtest.h>

#include "support/Sandbox.h"

int main(int count, char **words)
{
    kestrel::test::useOwnHome();
    const QCoreApplication application(count, words);
    std::setlocale(LC_NUMERIC, "C");
    ::testing::InitGoogleTest(&count, words);
    return RUN_ALL_TESTS();
}

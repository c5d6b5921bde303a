// One handler that throws takes no other with it, on the I/O thread as on Qt's.
#include <memory>
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>

#include <boost/asio/post.hpp>

#include <QCoreApplication>

#include "HandlerLoop.h"
#include "HostRunner.h"
#include "Mailbox.h"

TEST(HandlerLoop, TheOthersRunWhenOneThrows)
{
    boost::asio::io_context io;
    std::vector<int> ran;
    const auto connection = std::make_shared<int>(0); // lives in the handler that throws
    boost::asio::post(io, [&] { ran.push_back(1); });
    boost::asio::post(io, [connection] { throw std::runtime_error("as a test has it"); });
    boost::asio::post(io, [&] { ran.push_back(2); });
    testing::internal::CaptureStderr();
    lumo::host::runHandlers(io);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "lumo-host: a connection is given up: as a test has it\n");
    EXPECT_EQ(ran, (std::vector<int>{1, 2}));
    EXPECT_EQ(connection.use_count(), 1);
}

TEST(HandlerLoop, TheOthersRunWhenOneOnQtsThreadThrows)
{
    lumo::host::Mailbox mailbox;
    bool ran = false;
    mailbox.post([] { throw std::runtime_error("as a test has it"); });
    mailbox.post([&] { ran = true; });
    testing::internal::CaptureStderr();
    EXPECT_TRUE(lumo::test::eventually([&] {
        QCoreApplication::processEvents();
        return ran;
    }));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "lumo-host: a step of a session is given up: as a test has it\n");
}

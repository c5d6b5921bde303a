// What the host makes of its arguments.
#include <gtest/gtest.h>

#include <QProcess>

#include "HostRunner.h"

using namespace lumo::test;

namespace
{

struct Outcome {
    int exitCode = -1;
    std::string output;
    std::string errors;
};

Outcome runHost(const QStringList& arguments)
{
    QProcess process;
    process.start(builtProgram("lumo-host"), arguments);
    if (!process.waitForFinished(30000)) {
        process.kill();
        process.waitForFinished();
        return {};
    }
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            process.readAllStandardOutput().toStdString(), process.readAllStandardError().toStdString()};
}

} // namespace

TEST(CommandLine, WrongArgumentsAreNamed)
{
    const struct {
        QStringList arguments;
        const char* words;
    } rows[] = {
        {{"--port", "70000"}, "--port must be a number from 0 to 65535"},
        {{"--port", "x"}, "--port must be a number"},
        {{"--max-message", "65536"}, "--max-message must be a number from 1 to 65535"},
        {{"--origin", "*"}, "--origin must look like"},
        {{"--origin", "https://viewer.example/path"}, "--origin must look like"},
        {{"--nonsense"}, "nonsense"},
        {{"extra"}, "unexpected argument \"extra\""},
    };
    for (const auto& row : rows) {
        const Outcome outcome = runHost(row.arguments);
        EXPECT_EQ(outcome.exitCode, 2) << row.words;
        EXPECT_NE(outcome.errors.find(row.words), std::string::npos) << outcome.errors;
        EXPECT_EQ(outcome.output, "");
    }
}

TEST(CommandLine, HelpAndVersion)
{
    const Outcome help = runHost({"--help"});
    EXPECT_EQ(help.exitCode, 0);
    for (const char* option : {"--port", "--page", "--origin", "--program", "--log-dir", "--max-message"})
        EXPECT_NE(help.output.find(option), std::string::npos) << option;
    EXPECT_EQ(runHost({"--version"}).output, "lumo-host 1.0.0\n");
}

TEST(CommandLine, ATakenPortEndsTheStartWithWords)
{
    HostRunner host;
    const Outcome outcome = runHost({"--port", QString::number(host.port())});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.errors.find("cannot listen on 127.0.0.1:"), std::string::npos) << outcome.errors;
}

// conversation_runner [--program PATH] [--fakes DIR] [--decode DIR] [--folder NAME] [--from LIST] [--verbose] FILE...
// conversation_runner --list FILE...
//
// Runs each conversation; prints one line for each that holds ("ok") or is not for this system ("skip"), and for each
// that does not hold ("FAIL") the trace, the line and what was expected. Exit code: 0 all hold, 1 some do not, 2 wrong
// use.
#include "Conversation.h"
#include "Failure.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QTextStream>

namespace
{

QTextStream& out()
{
    static QTextStream stream(stdout);
    return stream;
}

void report(const QString& name, const Failure& failure, const Conversation& conversation)
{
    out() << "FAIL " << name << "\n  trace:\n";
    for (const QString& line : conversation.trace()) {
        out() << "    " << line << "\n";
    }
    out() << "  the program's output:\n";
    for (const QString& line : conversation.programOutput().split('\n')) {
        out() << "    " << line << "\n";
    }
    out() << "  at " << conversation.where() << "\n  " << failure.text << Qt::endl;
}

bool runFile(const QString& path, const Options& options)
{
    const QString name = QFileInfo(path).completeBaseName();
    std::unique_ptr<Conversation> conversation;
    try {
        const Script script = loadScript(path);
        if (!script.unfit.isEmpty()) {
            out() << "skip " << name << ": " << script.unfit << Qt::endl;
            return true;
        }
        conversation = std::make_unique<Conversation>(script, options);
        conversation->run();
        out() << "ok   " << name << Qt::endl;
        return true;
    } catch (const Failure& failure) {
        if (conversation) {
            report(name, failure, *conversation);
        } else {
            out() << "FAIL " << name << "\n  " << failure.text << Qt::endl;
        }
        return false;
    }
}

QStringList linesOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()).split('\n', Qt::SkipEmptyParts)
                                          : QStringList();
}

void list(const QStringList& files)
{
    for (const QString& file : files) {
        out() << QFileInfo(file).completeBaseName() << "\n    " << loadScript(file).title << "\n";
    }
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    const QString bin = QCoreApplication::applicationDirPath();
    const QString own = QFileInfo(QCoreApplication::applicationFilePath()).suffix();
    const QString suffix = own.isEmpty() ? QString() : "." + own;
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addOptions({{"program", "the program under test", "path", bin + "/LumoPlayTool" + suffix},
                       {"fakes", "folder of the recording libraries", "folder", bin + "/../fakes"},
                       {"decode", "folder of the decode library, if not the recording one", "folder"},
                       {"folder", "name of the program's own folder", "name"},
                       {"wait", "bound of every wait, in milliseconds", "ms", "20000"},
                       {"from", "a file that names further files, one a line", "list"},
                       {"verbose", "print the trace as it goes"},
                       {"list", "print names and what they show"}});
    parser.addPositionalArgument("files", "conversation files");
    parser.process(app);
    QStringList files = parser.positionalArguments();
    if (parser.isSet("from")) {
        files += linesOf(parser.value("from"));
    }
    if (files.isEmpty()) {
        out() << parser.helpText();
        return 2;
    }
    if (parser.isSet("list")) {
        list(files);
        return 0;
    }
    Options options;
    options.program = parser.value("program");
    options.fakes = parser.value("fakes");
    options.decode = parser.value("decode");
    options.folder = parser.value("folder");
    options.verbose = parser.isSet("verbose");
    options.waitMs = parser.value("wait").toInt();
    bool all = true;
    for (const QString& file : files) {
        all = runFile(file, options) && all;
    }
    return all ? 0 : 1;
}

// Stands in for the process: same command line, same framing. The page's commands tell it how to behave, and it counts
// what each read brought, which is what the pacing is about.
//
//   args                 answers {"args":[...],"pid":N}
//   reads                answers {"frames":N,"mixed":M}: frames taken, and reads that held bytes of two of them
//   hold FILE            reads nothing until the file exists
//   touch FILE           makes the file
//   flood COUNT SIZE     sends so many messages of that size
//   split TEXT           answers TEXT, the frame's bytes one by one
//   debug TEXT           a line on the error stream and one on the output stream
//   chatter COUNT        so many numbered lines on the error stream
//   garbage              sends bytes that are no frame
//   stay                 does not end when its channel closes
//   abort, exit N        ends
// Anything else comes back as it is. With LUMO_FAKE=deaf it never connects.
#include <cstdio>
#include <cstdlib>

#include <QCoreApplication>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocalSocket>
#include <QThread>

namespace
{

QByteArray frameOf(const QByteArray& body)
{
    return QByteArray::number(body.size(), 16).rightJustified(8, '0') + body;
}

class FakeProcess
{
public:
    explicit FakeProcess(const QString& server)
    {
        QObject::connect(&socket_, &QLocalSocket::readyRead, [this] { onReadyRead(); });
        QObject::connect(&socket_, &QLocalSocket::disconnected, [this] {
            if (!stay_)
                QCoreApplication::quit();
        });
        socket_.connectToServer(server);
        if (!socket_.waitForConnected(30000))
            std::exit(3);
    }

private:
    void onReadyRead()
    {
        const QByteArray bytes = socket_.readAll();
        buffer_ += bytes;
        int framesHere = 0;
        QList<QByteArray> bodies;
        while (buffer_.size() >= 8) {
            bool isHex = false;
            const int size = buffer_.left(8).toInt(&isHex, 16);
            if (!isHex)
                std::exit(4);
            if (buffer_.size() < 8 + size)
                break;
            bodies += buffer_.mid(8, size);
            buffer_.remove(0, 8 + size);
            ++framesHere;
        }
        frames_ += framesHere;
        if (framesHere + (buffer_.isEmpty() ? 0 : 1) > 1)
            ++mixed_;
        for (const QByteArray& body : bodies)
            obey(body);
    }

    void obey(const QByteArray& body)
    {
        const int blank = body.indexOf(' ');
        const QByteArray verb = blank < 0 ? body : body.left(blank);
        const QByteArray rest = blank < 0 ? QByteArray() : body.mid(blank + 1);
        if (verb == "args")
            say(QJsonDocument(QJsonObject{{"args", QJsonArray::fromStringList(QCoreApplication::arguments())},
                                          {"pid", QCoreApplication::applicationPid()}})
                    .toJson(QJsonDocument::Compact));
        else if (verb == "reads")
            say(QJsonDocument(QJsonObject{{"frames", frames_}, {"mixed", mixed_}}).toJson(QJsonDocument::Compact));
        else if (verb == "hold")
            while (!QFile::exists(QString::fromUtf8(rest)))
                QThread::msleep(1);
        else if (verb == "touch")
            QFile(QString::fromUtf8(rest)).open(QIODevice::WriteOnly);
        else if (verb == "flood")
            flood(rest.split(' '));
        else if (verb == "split")
            for (const char byte : frameOf(rest)) {
                socket_.write(&byte, 1);
                socket_.flush();
            }
        else if (verb == "debug") {
            std::fprintf(stderr, "error stream: %s\n", rest.constData());
            std::printf("output stream: %s\n", rest.constData());
            std::fflush(stdout);
            say("debugged");
        } else if (verb == "chatter") {
            for (int i = 0; i < rest.toInt(); ++i)
                std::fprintf(stderr, "line %06d\n", i);
            say("chattered");
        } else if (verb == "garbage") {
            socket_.write("this is no frame at all");
            socket_.flush();
        } else if (verb == "stay")
            stay_ = true;
        else if (verb == "abort")
            std::abort();
        else if (verb == "exit")
            std::exit(rest.toInt());
        else
            say(body);
    }

    void flood(const QList<QByteArray>& numbers)
    {
        const QByteArray message(numbers.value(1).toInt(), 'f');
        for (int i = 0; i < numbers.value(0).toInt(); ++i) {
            socket_.write(frameOf(message));
            if (socket_.bytesToWrite() > 1024 * 1024 && !socket_.waitForBytesWritten(30000))
                return;
        }
    }

    void say(const QByteArray& body)
    {
        socket_.write(frameOf(body));
        socket_.flush();
    }

    QLocalSocket socket_;
    QByteArray buffer_;
    int frames_ = 0;
    int mixed_ = 0;
    bool stay_ = false;
};

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication application(argc, argv);
    if (argc < 4)
        return 2;
    if (qgetenv("LUMO_FAKE") == "deaf")
        return application.exec();
    FakeProcess process(QString::fromUtf8(argv[2]));
    return application.exec();
}

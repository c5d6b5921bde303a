// Shows that ThreadSanitizer sees through the hub's thread hops: "planted" lets a hub closure and the GUI thread touch
// one number at a time with nothing between them, and must be reported; "handed-over" does the same through the hub's
// own synchronous hop, and must not.
#include "hub/PluginManage.h"

#include <QCoreApplication>
#include <QEvent>
#include <QTimer>

#include <atomic>
#include <cstdio>
#include <cstring>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    qRegisterMetaType<std::function<void(void)>>("std::function<void(void)>");
    const bool bPlanted = argc > 1 && std::strcmp(argv[1], "planted") == 0;
    auto* pHub = new CPluginManage(QString(), 1, nullptr);

    constexpr int kRounds = 200;
    static int nShared = 0;
    static std::atomic<int> nDone{0};
    for (int i = 0; i < kRounds; ++i) {
        emit pHub->returnToThisThreadSig([=] {
            if (bPlanted)
                ++nShared;
            else
                pHub->returnToMainThreadSync([] { ++nShared; });
            ++nDone;
        });
    }
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, [&] {
        ++nShared; // on the GUI thread
        if (nDone == kRounds)
            app.quit();
    });
    timer.start(0);
    app.exec();
    std::printf("%d closures ran\n", nDone.load());
    std::fflush(stdout);
    std::_Exit(0); // the hub's thread still runs, as in the program
}

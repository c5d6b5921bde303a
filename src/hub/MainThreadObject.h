// Runs closures on the GUI thread; lives there and keeps nothing.
#pragma once

#include <QObject>

#include <functional>

class MainThreadObject : public QObject
{
    Q_OBJECT
public slots:
    void onReturnToMainThread(std::function<void(void)> callback);
};

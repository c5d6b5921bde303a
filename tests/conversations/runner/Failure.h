// What ends a conversation: a fact that did not come, or one that nobody expected.
#pragma once

#include <QString>

struct Failure {
    QString text;
};

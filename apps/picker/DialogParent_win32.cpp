// The dialog is the system's own, which knows nothing of hints: it stands above the window that owns it, and takes its
// place among the topmost. That owner is one pixel that nobody sees, where the user has just clicked: so the dialog
// comes up on that screen.
#include "DialogParent.h"

#include <QCursor>

namespace lumo::picker
{

std::unique_ptr<QWidget> dialogParent()
{
    auto owner = std::make_unique<QWidget>(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
    owner->setWindowOpacity(0);
    owner->setGeometry(QRect(QCursor::pos(), QSize(1, 1)));
    owner->show();
    owner->activateWindow(); // as far as Windows lets a program that the user has not clicked on
    return owner;
}

} // namespace lumo::picker

// The dialog is one of Qt's own, and window managers keep it above.
#include "DialogParent.h"

namespace lumo::picker
{

std::unique_ptr<QWidget> dialogParent()
{
    return nullptr;
}

} // namespace lumo::picker

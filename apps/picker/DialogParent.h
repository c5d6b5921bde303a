// What the dialog must belong to in order to be seen above the browser that it is asked from. One implementation file
// per system. Thread: main thread, behind the application object.
#pragma once

#include <QWidget>
#include <memory>

namespace lumo::picker
{

/// Null where the dialog's own hint to stay on top is enough. It must outlive the dialog.
std::unique_ptr<QWidget> dialogParent();

} // namespace lumo::picker

// The picker: shows the system's dialog for a folder or a file and prints the chosen path.
//
//   Browse MODE [MORE]   MODE as in PickerMode.h; MORE, whatever it is, says that a program waits for the answer:
//                        then the dialog goes when the standard input ends
//
// Output: the path in UTF-8 without a line end, nothing when the user took none. Exit code: 0 in both cases, 2 for a
// mode that does not exist. A program of its own, so that a dialog never holds up the viewer.
#include "Asker.h"
#include "Choice.h"
#include "DialogParent.h"

#include <QApplication>
#include <QDir>
#include <QFileDialog>
#include <cstdio>

using namespace lumo::picker;

namespace
{

QString pick(const Choice& choice)
{
    // Above all: the browser that it is asked from has the focus, and may cover a window of another program.
    const std::unique_ptr<QWidget> parent = dialogParent();
    QFileDialog dialog(parent.get(), choice.title, choice.startFolder);
    dialog.setWindowFlag(Qt::WindowStaysOnTopHint);
    dialog.setAcceptMode(QFileDialog::AcceptOpen);
    dialog.setFileMode(choice.folder ? QFileDialog::Directory : QFileDialog::ExistingFile);
    dialog.setOption(QFileDialog::ShowDirsOnly, choice.folder);
    dialog.setOption(QFileDialog::HideNameFilterDetails);
    if (choice.folder) {
        dialog.setLabelText(QFileDialog::Accept, QFileDialog::tr("Choose"));
    } else {
        dialog.setNameFilters(choice.filters);
    }
    if (dialog.exec() != QDialog::Accepted) {
        return {};
    }
    return QDir::toNativeSeparators(dialog.selectedFiles().value(0));
}

} // namespace

int main(int argc, char* argv[])
{
    QApplication application(argc, argv);
    QApplication::setApplicationDisplayName("Lumo Viewer");
    const QString settings = QApplication::applicationDirPath() + "/ClientCfg.ini";
    const auto choice = choiceOf(QApplication::arguments().value(1), settings);
    if (!choice) {
        std::fputs("usage: Browse MODE, a number from 0 to 5\n", stderr);
        return 2;
    }
    if (QApplication::arguments().size() > 2) {
        endWithAsker();
    }
    const QByteArray path = pick(*choice).toUtf8();
    std::fwrite(path.constData(), 1, static_cast<size_t>(path.size()), stdout);
    return 0;
}

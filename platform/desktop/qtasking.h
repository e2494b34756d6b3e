// A dialog for one file or several, or a folder, that never holds up the loop:
// what the toolkit would ask by a box that must be answered (replace the file?)
// opens beside it instead.
#pragma once

#include <QFileDialog>
#include <QStringList>

#include <functional>

class FileAsk : public QFileDialog {
public:
    enum Manner { Open, OpenMany, Save, Folder };
    // `done` takes the files chosen, none when the user declined. It is called
    // once, and the dialog must not be deleted in it.
    FileAsk(QWidget *parent, Manner manner, const QString &title,
            const QString &folder, const QString &name,
            const std::function<void(const QStringList &)> &done);

protected:
    void accept() override;

private:
    Manner manner;
};

// Asks yes or no in a box on top of `parent`; `yes` is called for yes.
void ask_yes(QWidget *parent, const QString &question, const QString &yesLabel,
             const std::function<void()> &yes);

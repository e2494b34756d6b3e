// Widgets of dialogs that behave as the program expects of its items: a box
// doesn't toggle itself, a scroll bar's steps are the program's.
#pragma once

#include "platform/desktop/qtwindows.h"

#include <QCheckBox>
#include <QLabel>
#include <QRadioButton>
#include <QScrollBar>

class ItemCheckBox : public QCheckBox {
public:
    using QCheckBox::QCheckBox;

protected:
    void nextCheckState() override {}
};

class ItemRadio : public QRadioButton {
public:
    using QRadioButton::QRadioButton;

protected:
    void nextCheckState() override {}
};

// An item that the program draws itself, on the window's canvas.
class ItemUser : public QWidget {
public:
    ItemUser(be_win window, QWidget *parent);

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;

private:
    be_win win;
};

class ItemScrollBar : public QScrollBar {
public:
    ItemScrollBar(be_win window, int number, QWidget *parent);

protected:
    void mouseReleaseEvent(QMouseEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;

private:
    void step(int action);

    be_win win;
    int item;
};

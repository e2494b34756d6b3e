// The two widgets of a window: the one that the desktop frames, and the
// content, which shows the core's pixels or holds a dialog's items.
#pragma once

#include "platform/desktop/desktop.h"

#include <QTimer>

class QMimeData;

class TopWidget : public QWidget {
public:
    TopWidget(DeskWindow *w, Qt::WindowFlags flags);
    void forget() { window = nullptr; } // the program has disposed of it
    void lay_out();
    DeskWindow *of() const { return window; }
    // Reports size, zoom and collapse once they have been still for a moment.
    void settle_soon();

protected:
    bool event(QEvent *event) override;
    void changeEvent(QEvent *event) override;
    void closeEvent(QCloseEvent *event) override;
    void moveEvent(QMoveEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void settled();

    DeskWindow *window;
    QTimer still;
    int scale; // as the core last heard it
};

class ContentWidget : public QWidget {
public:
    ContentWidget(DeskWindow *w, QWidget *parent);
    void forget() { window = nullptr; }
    QRect global() const;

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;
    void enterEvent(QEnterEvent *event) override;
    void leaveEvent(QEvent *event) override;
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dragMoveEvent(QDragMoveEvent *event) override;
    void dropEvent(QDropEvent *event) override;
    void inputMethodEvent(QInputMethodEvent *event) override;
    QVariant inputMethodQuery(Qt::InputMethodQuery query) const override;
    bool focusNextPrevChild(bool next) override;

private:
    bool offered(const QMimeData *mime, QPoint local);

    DeskWindow *window;
};

// Reports the left button, pressed or let go; ignores the others.
void window_button(be_win w, QMouseEvent *event, bool down);

// Turns of the wheel in a window, wherever in it they come from.
void window_wheel(DeskWindow *w, QWheelEvent *event);

// Paints the part of the window's canvas that lies under `part` of its
// content, with the painter's origin at the part's top left.
void window_paint_canvas(DeskWindow *w, QPainter *painter, const QRect &part);

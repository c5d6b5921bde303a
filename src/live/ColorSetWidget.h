// The image colour page: one plain view without grid, cells or selection.
//
// Thread: GUI thread.
#pragma once

#include <QWidget>

class CVideoFrame;
class QHBoxLayout;

class CColorSetWidget : public QWidget
{
    Q_OBJECT
public:
    explicit CColorSetWidget(QWidget* pParent);

private:
    CVideoFrame* m_pFrame = nullptr;
    QHBoxLayout* m_pLayout = nullptr;
};

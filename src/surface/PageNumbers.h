// The pages of the surface, as commands, events and PlayWidget count them.
#pragma once

enum EPage { kLivePage = 0, kPlaybackPage = 1, kColorPage = 2 };

/// Whichever page is shown; a number of PlayWidget::GetCurChannel alone.
constexpr int kCurrentPage = 5;

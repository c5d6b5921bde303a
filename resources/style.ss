/* The look of the video surface. Read at start-up; edit and start again to change it. */

/* No background here: it would lie over the ticks, which are drawn before the groove and the handle. */
#ScaleSlider::groove:horizontal {
    background: transparent;
    height: 16px;
}

#ScaleSlider::handle:horizontal {
    background: rgb(18, 144, 255);
    border: 1px solid rgb(255, 255, 255);
    border-radius: 3px;
    width: 8px;
    margin: -2px 0;
}

#ScaleLabel {
    background: transparent;
    color: rgb(255, 255, 255);
    font-size: 12px;
}

// What the picker can be asked for, as the number that it is started with.
#pragma once

enum EPickerMode {
    kPickRecordFolder = 0,
    kPickCaptureFolder = 1,
    kPickDownloadFolder = 2,
    kPickRecording = 3, // a file, as the next two
    kPickFirmware = 4,
    kPickAnyFile = 5
};

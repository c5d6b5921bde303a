// What the page calls the alarms of a device and their states. Plain values.
#pragma once

/// The page's name of an event number; empty for one that it knows no name of. Never null.
const char* alarmName(int nEvent);

/// "Start", "Stop" or "Pulse"; empty for any other status. Never null.
const char* alarmStatus(int nStatus);

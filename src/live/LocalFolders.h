// The folders and formats of recordings and snapshots, as the client configuration has them.
//
// Thread: any, one at a time. Blocking: reads, and on a first run writes, a small file.
#pragma once

#include "platform/ClientConfig.h"
#include "surface/LocalInfo.h"

/// Opens the file anew. An empty folder gets its default below the program's folder, which is written back. Version and
/// date stay empty.
LocalInfo loadLocalFolders(platform::ESlashes slashes);

// Memory of libcurl's, in which it copies credentials.
#pragma once

namespace vxhost {

// Once a process, before any other use of it: what libcurl frees from then on is zeroed before.
void startCurl();

}  // namespace vxhost

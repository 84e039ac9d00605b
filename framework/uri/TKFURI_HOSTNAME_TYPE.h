// How the host of a name is written.
#pragma once

enum TKFURI_HOSTNAME_TYPE {
    TKFURI_HOSTNAME_NONE,             // there is no host
    TKFURI_HOSTNAME_REGISTERED_NAME,  // a name that some directory knows: "example.org", "localhost"; also an address
                                      // of a version to come, with its brackets: "[v7.fe::1]"
    TKFURI_HOSTNAME_IPV4,             // "192.0.2.1"
    TKFURI_HOSTNAME_IPV6,             // "2001:db8::1", without its brackets
    TKFURI_HOSTNAME_UNC_SERVER        // the server of a UNC path or of a file URL, however it is written
};

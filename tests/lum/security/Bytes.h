// The services on data objects with texts in their place, as tests write them down.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#import <Foundation/NSData.h>

#include "lum/security/CertificateServices.h"

inline NSData *DataOf(std::string_view bytes) {
    return [NSData dataWithBytes:bytes.data() length:bytes.size()];
}

inline bool VerifyBytes(rsa_st *rsa, std::string_view data, std::string_view signature) {
    return verifyDataWithSSL(rsa, DataOf(data), DataOf(signature));
}

inline std::optional<std::string> SignBytes(const char *keyPath, std::string_view data) {
    NSData *signature = SignDataWithSSL(keyPath, DataOf(data));
    return signature ? std::optional(std::string(static_cast<const char *>([signature bytes]), [signature length]))
                     : std::nullopt;
}

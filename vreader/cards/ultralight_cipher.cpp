#include "vreader/cards/ultralight_cipher.h"

#include <cstdlib>
#include <openssl/evp.h>

namespace vreader
{

namespace
{

Bytes RunCipher(bool enciphers, const Bytes &key, const Bytes &chain, const Bytes &data)
{
    Bytes result(data.size());
    int count = 0;
    EVP_CIPHER_CTX *cipher = EVP_CIPHER_CTX_new();
    const bool done = EVP_CipherInit_ex(cipher, EVP_des_ede_cbc(), nullptr, key.data(),
                                        chain.data(), enciphers ? 1 : 0) == 1 &&
                      EVP_CIPHER_CTX_set_padding(cipher, 0) == 1 &&
                      EVP_CipherUpdate(cipher, result.data(), &count, data.data(),
                                       static_cast<int>(data.size())) == 1;
    EVP_CIPHER_CTX_free(cipher);
    if (!done || static_cast<size_t>(count) != data.size())
        std::abort(); // a system without triple DES cannot play this card
    return result;
}

} // namespace

Bytes EncipherChained(const Bytes &key, const Bytes &chain, const Bytes &data)
{
    return RunCipher(true, key, chain, data);
}

Bytes DecipherChained(const Bytes &key, const Bytes &chain, const Bytes &data)
{
    return RunCipher(false, key, chain, data);
}

} // namespace vreader

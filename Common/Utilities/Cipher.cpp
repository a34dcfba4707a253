#include "Cipher.h"

#include <openssl/evp.h>

#include <array>
#include <cstdint>
#include <memory>

namespace
{
constexpr int kBlockSize = 16;
using Key = std::array<uint8_t, 32>;

// The keys are part of the program: the point of the enciphered forms is that a file shipped
// with the program isn't read or edited casually, not secrecy against a determined reader.
constexpr Key kMapFileKey = {0x4e, 0x6f, 0x72, 0x76, 0x61, 0x6e, 0x74, 0x61, 0x2d, 0x4d, 0x61,
                             0x70, 0x9c, 0x31, 0xe7, 0x58, 0x0b, 0xd4, 0x62, 0xaf, 0x17, 0x83,
                             0x5e, 0xc9, 0x2a, 0xf0, 0x66, 0x94, 0x3d, 0x0e, 0xb8, 0x71};
constexpr Key kRegisterFileKey = {0x4e, 0x6f, 0x72, 0x76, 0x61, 0x6e, 0x74, 0x61, 0x2d, 0x52, 0x65,
                                  0x67, 0x5a, 0xc3, 0x08, 0x9f, 0xe1, 0x46, 0x7d, 0x22, 0xb5, 0x90,
                                  0x3b, 0x6c, 0xf8, 0x14, 0xa7, 0xde, 0x59, 0x81, 0x0c, 0x36};

const Key& KeyOf(ECipherKey eKey)
{
    return eKey == ECipherKey::MapFile ? kMapFileKey : kRegisterFileKey;
}

struct SContextDeleter
{
    void operator()(EVP_CIPHER_CTX* pContext) const { EVP_CIPHER_CTX_free(pContext); }
};

bool Transform(QByteArray& buffer, ECipherKey eKey, bool bEncipher)
{
    const qsizetype nWhole = buffer.size() - buffer.size() % kBlockSize;
    if (nWhole == 0)
    {
        return true;
    }
    std::unique_ptr<EVP_CIPHER_CTX, SContextDeleter> pContext(EVP_CIPHER_CTX_new());
    if (!pContext ||
        EVP_CipherInit_ex(pContext.get(), EVP_aes_256_ecb(), nullptr, KeyOf(eKey).data(), nullptr,
                          bEncipher ? 1 : 0) != 1 ||
        EVP_CIPHER_CTX_set_padding(pContext.get(), 0) != 1)
    {
        return false;
    }
    // Work on a copy so that a failure half way leaves the caller's buffer untouched.
    QByteArray result = buffer;
    auto* pData = reinterpret_cast<unsigned char*>(result.data());
    for (qsizetype nOffset = 0; nOffset < nWhole; nOffset += kBlockSize)
    {
        int nOut = 0;
        if (EVP_CipherUpdate(pContext.get(), pData + nOffset, &nOut, pData + nOffset, kBlockSize) != 1 ||
            nOut != kBlockSize)
        {
            return false;
        }
    }
    buffer = std::move(result);
    return true;
}
} // namespace

bool EncipherBuffer(QByteArray& buffer, ECipherKey eKey)
{
    return Transform(buffer, eKey, true);
}

bool DecipherBuffer(QByteArray& buffer, ECipherKey eKey)
{
    return Transform(buffer, eKey, false);
}

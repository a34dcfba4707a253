// The two ciphers of the program's files. Both are AES-256 applied in place, block by block,
// each 16-byte block on its own (no chaining, no padding), so a buffer keeps its length and a
// last block shorter than 16 bytes stays as it is. Map files and register files use different
// keys, so a file of one kind never deciphers as the other.
#pragma once

#include <QByteArray>

enum class ECipherKey
{
    MapFile,      // enciphered network maps (.nvm read with the enciphered flag)
    RegisterFile, // enciphered register description files (.envr)
};

// Enciphers the whole blocks of a buffer in place. False if the crypto library failed, in which
// case the buffer is left as it was.
bool EncipherBuffer(QByteArray& buffer, ECipherKey eKey);

// Deciphers the whole blocks of a buffer in place; the inverse of EncipherBuffer.
bool DecipherBuffer(QByteArray& buffer, ECipherKey eKey);

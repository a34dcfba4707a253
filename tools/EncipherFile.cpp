// nv-encipher: enciphers (or deciphers) a file with the program's map or register file key, so
// that the register library can ship .envr files and test maps can be made in enciphered form.
#include "Cipher.h"
#include "SafeFile.h"

#include <QFile>

#include <cstdio>
#include <cstring>

namespace
{
int Usage()
{
    std::fprintf(stderr,
                 "usage: nv-encipher [--map|--register] [--decipher] INPUT OUTPUT\n"
                 "  enciphers INPUT into OUTPUT with the register file key (default) or the map key\n");
    return 2;
}
} // namespace

int main(int argc, char** argv)
{
    ECipherKey eKey = ECipherKey::RegisterFile;
    bool bDecipher = false;
    const char* apszFiles[2] = {nullptr, nullptr};
    int nFiles = 0;
    for (int i = 1; i < argc; ++i)
    {
        if (std::strcmp(argv[i], "--map") == 0)
        {
            eKey = ECipherKey::MapFile;
        }
        else if (std::strcmp(argv[i], "--register") == 0)
        {
            eKey = ECipherKey::RegisterFile;
        }
        else if (std::strcmp(argv[i], "--decipher") == 0)
        {
            bDecipher = true;
        }
        else if (nFiles < 2)
        {
            apszFiles[nFiles++] = argv[i];
        }
        else
        {
            return Usage();
        }
    }
    if (nFiles != 2)
    {
        return Usage();
    }
    QFile input(QString::fromLocal8Bit(apszFiles[0]));
    if (!input.open(QIODevice::ReadOnly))
    {
        std::fprintf(stderr, "nv-encipher: cannot read %s\n", apszFiles[0]);
        return 1;
    }
    QByteArray buffer = input.readAll();
    const bool bOk = bDecipher ? DecipherBuffer(buffer, eKey) : EncipherBuffer(buffer, eKey);
    if (!bOk)
    {
        std::fprintf(stderr, "nv-encipher: the cipher failed on %s\n", apszFiles[0]);
        return 1;
    }
    const CSafeSaveResult saved = SaveFileSafely(QString::fromLocal8Bit(apszFiles[1]), buffer);
    if (!saved.Ok())
    {
        std::fprintf(stderr, "nv-encipher: %s\n", saved.Text().toLocal8Bit().constData());
        return 1;
    }
    return 0;
}

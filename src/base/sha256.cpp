// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "sha256.h"

#include "failure.h"

#include <openssl/evp.h>

void Sha256::Free::operator()(void* context) const
{
    EVP_MD_CTX_free(static_cast<EVP_MD_CTX*>(context));
}

Sha256::Sha256()
    : context(EVP_MD_CTX_new())
{
    if (!context || EVP_DigestInit_ex(static_cast<EVP_MD_CTX*>(context.get()), EVP_sha256(), nullptr) != 1)
        throw Failure(ExitStatus::Failed, "no hash can be computed: libcrypto offers no SHA-256");
}

Sha256::~Sha256() = default;

void Sha256::Add(const void* data, size_t size)
{
    EVP_DigestUpdate(static_cast<EVP_MD_CTX*>(context.get()), data, size);
}

std::string Sha256::Hex()
{
    unsigned char hash[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    EVP_DigestFinal_ex(static_cast<EVP_MD_CTX*>(context.get()), hash, &size);
    return Hexadecimal(hash, size);
}

std::string Sha256Of(const std::string& text)
{
    Sha256 hash;
    hash.Add(text.data(), text.size());
    return hash.Hex();
}

std::string Hexadecimal(const unsigned char* bytes, size_t size)
{
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(2 * size); // no copy of a secret is left behind
    for (size_t i = 0; i < size; ++i) {
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 15];
    }
    return text;
}

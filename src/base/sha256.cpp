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
    std::string text;
    for (unsigned int i = 0; i < size; ++i) {
        text += "0123456789abcdef"[hash[i] >> 4];
        text += "0123456789abcdef"[hash[i] & 15];
    }
    return text;
}

std::string Sha256Of(const std::string& text)
{
    Sha256 hash;
    hash.Add(text.data(), text.size());
    return hash.Hex();
}

// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

// scatterfiles SEED BYTES: fills the working directory as years of work do: files are written, lengthened, cut, written
// to far behind their end, renamed and removed, until so many bytes or all there is room for are in files. The same
// seed gives the same work.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace {
class Files
{
public:
    Files(unsigned seed, uint64_t target)
        : random(seed)
        , target(target)
    {
    }

    void Scatter()
    {
        for (int step = 0; step < 400 && held < target; ++step) {
            const uint64_t what = Number(10);
            if (names.empty() || what < 5)
                Write(NewName(), 0);
            else if (what < 8)
                Write(names[Number(names.size())], what);
            else if (what == 8)
                Rename(names[Number(names.size())]);
            else
                Remove(Number(names.size()));
        }
    }

private:
    uint64_t Number(uint64_t end)
    {
        return random() % end;
    }

    /** Small ones are the most. */
    uint64_t Size()
    {
        return Number(std::max<uint64_t>(target >> (2 + Number(12)), 2));
    }

    std::string NewName()
    {
        const std::string folder = "folder " + std::to_string(Number(6));
        std::error_code none; // no room
        std::filesystem::create_directory(folder, none);
        return folder + "/" + std::string(Number(60), 'n') + std::to_string(++number);
    }

    /** Part of it, at once on the disk now and then; a full disk is left as it is. */
    void Write(const std::string& name, uint64_t what)
    {
        const int file = open(name.c_str(), O_WRONLY | O_CREAT, 0644);
        if (file < 0)
            return;
        if (what == 0)
            names.push_back(name);
        const auto end = static_cast<uint64_t>(lseek(file, 0, SEEK_END));
        if (what == 7)
            Cut(file, end);
        else
            Put(file, what == 6 ? end + Size() : end);
        if (Number(4) == 0)
            fsync(file);
        close(file);
    }

    void Cut(int file, uint64_t end)
    {
        const uint64_t left = Number(end + 1);
        if (ftruncate(file, static_cast<off_t>(left)) == 0)
            held -= std::min(held, end - left);
    }

    void Put(int file, uint64_t place)
    {
        std::vector<uint32_t> words(Size() / 4 + 1);
        std::generate(words.begin(), words.end(), [this] {
            return static_cast<uint32_t>(random());
        });
        const ssize_t count = pwrite(file, words.data(), words.size() * 4 - Number(4), static_cast<off_t>(place));
        held += count < 0 ? target / 8 : static_cast<uint64_t>(count); // no room: soon enough
    }

    void Rename(std::string& name)
    {
        const std::string other = NewName();
        if (rename(name.c_str(), other.c_str()) == 0)
            name = other;
    }

    void Remove(size_t which)
    {
        std::error_code none;
        held -= std::min<uint64_t>(held, std::filesystem::file_size(names[which], none));
        std::filesystem::remove(names[which], none);
        names.erase(names.begin() + static_cast<std::ptrdiff_t>(which));
    }

    std::mt19937 random;
    uint64_t target;
    uint64_t held = 0; ///< bytes in files, about
    unsigned number = 0;
    std::vector<std::string> names;
};
} // namespace

int main(int argc, char* argv[])
{
    if (argc != 3) {
        fprintf(stderr, "usage: scatterfiles SEED BYTES\n");
        return 2;
    }
    Files(static_cast<unsigned>(strtoul(argv[1], nullptr, 10)), strtoull(argv[2], nullptr, 10)).Scatter();
    return 0;
}

/* Feeds each fuzzer's stored inputs to it: what once was found stays found. */
#include "support/files.h"
#include "support/places.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>

namespace fs = std::filesystem;

extern "C" {
int fuzz_accounts(const uint8_t *data, size_t size);
int fuzz_archives(const uint8_t *data, size_t size);
int fuzz_config(const uint8_t *data, size_t size);
int fuzz_headers(const uint8_t *data, size_t size);
int fuzz_parts(const uint8_t *data, size_t size);
int fuzz_rules(const uint8_t *data, size_t size);
int fuzz_runs(const uint8_t *data, size_t size);
int fuzz_syntax(const uint8_t *data, size_t size);
}

namespace {

using fuzz_target = int (*)(const uint8_t *data, size_t size);

void feed(const char *corpus, fuzz_target target)
{
    size_t count = 0;
    for (const fs::directory_entry &entry :
         fs::directory_iterator(fs::path(support::source_path("/fuzz/corpus")) / corpus)) {
        SCOPED_TRACE(entry.path().string());
        std::string bytes = support::file_text(entry.path());
        testing::internal::CaptureStdout();
        EXPECT_EQ(0, target(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size()));
        testing::internal::GetCapturedStdout();
        count++;
    }
    EXPECT_LT(0u, count);
}

} // namespace

TEST(Corpus, Accounts)
{
    feed("accounts", fuzz_accounts);
}

TEST(Corpus, Archives)
{
    feed("archives", fuzz_archives);
}

TEST(Corpus, Config)
{
    feed("config", fuzz_config);
}

TEST(Corpus, Headers)
{
    feed("headers", fuzz_headers);
}

TEST(Corpus, Parts)
{
    feed("parts", fuzz_parts);
}

TEST(Corpus, Rules)
{
    feed("rules", fuzz_rules);
}

TEST(Corpus, Runs)
{
    feed("runs", fuzz_runs);
}

TEST(Corpus, Syntax)
{
    feed("syntax", fuzz_syntax);
}

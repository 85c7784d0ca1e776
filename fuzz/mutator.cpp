/* Hands libFuzzer's mutations of documents to the generator; a part of each fuzzer of documents. */
#include "fuzz/generator.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

extern "C" size_t LLVMFuzzerMutate(uint8_t *data, size_t size, size_t max_size);

static size_t put(const std::string &document, uint8_t *data, size_t max_size)
{
    size_t size = std::min(document.size(), max_size);
    memcpy(data, document.data(), size);
    return size;
}

/* Most mutations know the language; the others know nothing at all. */
extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max_size, unsigned seed)
{
    fuzzing::Generator generator(fuzzing::Use::MIGR_FUZZ_USE, seed);
    if (seed % 7 == 0)
        return LLVMFuzzerMutate(data, size, max_size);
    if (seed % 61 == 0)
        return put(generator.made(), data, max_size);
    return put(generator.disturbed({reinterpret_cast<const char *>(data), size}), data, max_size);
}

extern "C" size_t LLVMFuzzerCustomCrossOver(const uint8_t *one, size_t one_size, const uint8_t *other,
                                            size_t other_size, uint8_t *out, size_t max_size, unsigned seed)
{
    fuzzing::Generator generator(fuzzing::Use::MIGR_FUZZ_USE, seed);
    return put(generator.crossed({reinterpret_cast<const char *>(one), one_size},
                                 {reinterpret_cast<const char *>(other), other_size}),
               out, max_size);
}

// What libFuzzer calls to make a new input of one or two others: mostly a change to the tree of elements, at times one
// to the bytes, which also brings in the words of the dictionary.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

#include "fuzz/element_mutator.h"

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t most);

namespace {

constexpr unsigned kBytesOneIn = 5;

std::size_t Put(const vantor::fuzz::Raw& bytes, std::uint8_t* data, std::size_t most) {
  const std::size_t size = std::min(bytes.size(), most);
  std::copy_n(bytes.begin(), size, data);
  return size;
}

}  // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t most, unsigned seed) {
  if (seed % kBytesOneIn == 0) return LLVMFuzzerMutate(data, size, most);
  vantor::fuzz::ElementMutator mutator(seed, LLVMFuzzerMutate);
  return Put(mutator.Mutate({data, size}, most), data, most);
}

extern "C" std::size_t LLVMFuzzerCustomCrossOver(const std::uint8_t* one, std::size_t oneSize, const std::uint8_t* two,
                                                 std::size_t twoSize, std::uint8_t* out, std::size_t most,
                                                 unsigned seed) {
  vantor::fuzz::ElementMutator mutator(seed, LLVMFuzzerMutate);
  return Put(mutator.Cross({one, oneSize}, {two, twoSize}, most), out, most);
}

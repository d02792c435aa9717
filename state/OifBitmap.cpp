#include "state/OifBitmap.h"

namespace Shoal::Multicast::Fib {

U32 OifBitmap::bound() const {
  U32 word = wordCount_;
  while (word && !words()[word - 1]) --word;
  return word ? 64 * word - static_cast<U32>(std::countl_zero(words()[word - 1])) : 0;
}

void OifBitmap::grow(U32 wordCount) {
  auto * bigger = new U64[wordCount];
  std::copy_n(words(), wordCount_, bigger);
  std::fill(bigger + wordCount_, bigger + wordCount, 0);
  if (!isInline()) delete[] heap_;
  heap_ = bigger;
  wordCount_ = static_cast<U16>(wordCount);
}

void OifBitmap::swap(OifBitmap & o) noexcept {
  // The union as words, whichever member of it is in use.
  std::swap_ranges(std::begin(inline_), std::end(inline_), std::begin(o.inline_));
  std::swap(wordCount_, o.wordCount_);
}

void valueToStrep(std::string & out, OifBitmap const & oifs) {
  out += '[';
  for (OifBitmap::Iterator i(oifs); i; i.advance()) {
    if (out.back() != '[') out += ", ";
    Zet::numberToStrep(out, U64{i.index().value});
  }
  out += ']';
}

void strepToValue(Zet::StrepReader & reader, OifBitmap & oifs) {
  oifs = OifBitmap();
  reader.literal("[");
  if (reader.skip("]")) return;
  do {
    oifs.set(OifIndex(static_cast<U16>(reader.unsignedNumber(65535))), true);
  } while (reader.skip(", "));
  reader.literal("]");
}

}  // namespace Shoal::Multicast::Fib

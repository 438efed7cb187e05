#pragma once

namespace glyphd {

// For LC_ALL zh_CN, ja_JP, ko_KR or ru_RU (exactly): the C library is switched to en_US, the
// platform libraries learn the meant locale from BERT_CHINESE, BERT_JAPANESE, BERT_KOREAN or
// BERT_RUSSIAN set to "true", and Qt's default locale becomes the meant one, so the
// interface is still translated and formatted for it. Any other LC_ALL changes nothing.
void applyLocaleOverride();

} // namespace glyphd

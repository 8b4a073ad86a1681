// Turns one table of rows into its data: the texts of each language, block by block, in the read-only section
// QV_TEXT_SECTION, then the records in the writable section. Included once by each table's source, which
// defines QV_TEXT_TABLE (the .inc file) and QV_TEXT_SECTION. No include guard: this is a generator.

#include "qv/lang/texts.h"

namespace qv {
namespace {

#define QV_TEXT_CELL(name, text) \
  __attribute__((section(QV_TEXT_SECTION), used)) const WCHAR name[] = TEXT(text);

// The columns in the order of the rows; one pass a language, in the order of the blocks.
#define QV_TEXT_ROW(n, en, ja, de, es, fr, zhCN, zhTW, da, fi, it, ko, nl, nb, ptBR, ptPT, ru, sv, pl) \
  QV_TEXT_CELL(n##_zhCN, zhCN)
#include QV_TEXT_TABLE
#undef QV_TEXT_ROW
#define QV_TEXT_ROW(n, en, ja, de, es, fr, zhCN, zhTW, da, fi, it, ko, nl, nb, ptBR, ptPT, ru, sv, pl) \
  QV_TEXT_CELL(n##_zhTW, zhTW)
#include QV_TEXT_TABLE
#undef QV_TEXT_ROW
#define QV_TEXT_ROW(n, en, ja, de, es, fr, zhCN, zhTW, da, fi, it, ko, nl, nb, ptBR, ptPT, ru, sv, pl) \
  QV_TEXT_CELL(n##_da, da)
#include QV_TEXT_TABLE
#undef QV_TEXT_ROW
#define QV_TEXT_ROW(n, en, ja, de, es, fr, zhCN, zhTW, da, fi, it, ko, nl, nb, ptBR, ptPT, ru, sv, pl) \
  QV_TEXT_CELL(n##_de, de)
#include QV_TEXT_TABLE
#undef QV_TEXT_ROW
#define QV_TEXT_ROW(n, en, ja, de, es, fr, zhCN, zhTW, da, fi, it, ko, nl, nb, ptBR, ptPT, ru, sv, pl) \
  QV_TEXT_CELL(n##_es, es)
#include QV_TEXT_TABLE
#undef QV_TEXT_ROW
#define QV_TEXT_ROW(n, en, ja, de, es, fr, zhCN, zhTW, da, fi, it, ko, nl, nb, ptBR, ptPT, ru, sv, pl) \
  QV_TEXT_CELL(n##_fi, fi)
#include QV_TEXT_TABLE
#undef QV_TEXT_ROW
#define QV_TEXT_ROW(n, en, ja, de, es, fr, zhCN, zhTW, da, fi, it, ko, nl, nb, ptBR, ptPT, ru, sv, pl) \
  QV_TEXT_CELL(n##_fr, fr)
#include QV_TEXT_TABLE
#undef QV_TEXT_ROW
#define QV_TEXT_ROW(n, en, ja, de, es, fr, zhCN, zhTW, da, fi, it, ko, nl, nb, ptBR, ptPT, ru, sv, pl) \
  QV_TEXT_CELL(n##_it, it)
#include QV_TEXT_TABLE
#undef QV_TEXT_ROW
#define QV_TEXT_ROW(n, en, ja, de, es, fr, zhCN, zhTW, da, fi, it, ko, nl, nb, ptBR, ptPT, ru, sv, pl) \
  QV_TEXT_CELL(n##_ja, ja)
#include QV_TEXT_TABLE
#undef QV_TEXT_ROW
#define QV_TEXT_ROW(n, en, ja, de, es, fr, zhCN, zhTW, da, fi, it, ko, nl, nb, ptBR, ptPT, ru, sv, pl) \
  QV_TEXT_CELL(n##_ko, ko)
#include QV_TEXT_TABLE
#undef QV_TEXT_ROW
#define QV_TEXT_ROW(n, en, ja, de, es, fr, zhCN, zhTW, da, fi, it, ko, nl, nb, ptBR, ptPT, ru, sv, pl) \
  QV_TEXT_CELL(n##_nl, nl)
#include QV_TEXT_TABLE
#undef QV_TEXT_ROW
#define QV_TEXT_ROW(n, en, ja, de, es, fr, zhCN, zhTW, da, fi, it, ko, nl, nb, ptBR, ptPT, ru, sv, pl) \
  QV_TEXT_CELL(n##_nb, nb)
#include QV_TEXT_TABLE
#undef QV_TEXT_ROW
#define QV_TEXT_ROW(n, en, ja, de, es, fr, zhCN, zhTW, da, fi, it, ko, nl, nb, ptBR, ptPT, ru, sv, pl) \
  QV_TEXT_CELL(n##_ptBR, ptBR)
#include QV_TEXT_TABLE
#undef QV_TEXT_ROW
#define QV_TEXT_ROW(n, en, ja, de, es, fr, zhCN, zhTW, da, fi, it, ko, nl, nb, ptBR, ptPT, ru, sv, pl) \
  QV_TEXT_CELL(n##_ptPT, ptPT)
#include QV_TEXT_TABLE
#undef QV_TEXT_ROW
#define QV_TEXT_ROW(n, en, ja, de, es, fr, zhCN, zhTW, da, fi, it, ko, nl, nb, ptBR, ptPT, ru, sv, pl) \
  QV_TEXT_CELL(n##_ru, ru)
#include QV_TEXT_TABLE
#undef QV_TEXT_ROW
#define QV_TEXT_ROW(n, en, ja, de, es, fr, zhCN, zhTW, da, fi, it, ko, nl, nb, ptBR, ptPT, ru, sv, pl) \
  QV_TEXT_CELL(n##_sv, sv)
#include QV_TEXT_TABLE
#undef QV_TEXT_ROW
#define QV_TEXT_ROW(n, en, ja, de, es, fr, zhCN, zhTW, da, fi, it, ko, nl, nb, ptBR, ptPT, ru, sv, pl) \
  QV_TEXT_CELL(n##_pl, pl)
#include QV_TEXT_TABLE
#undef QV_TEXT_ROW
#define QV_TEXT_ROW(n, en, ja, de, es, fr, zhCN, zhTW, da, fi, it, ko, nl, nb, ptBR, ptPT, ru, sv, pl) \
  QV_TEXT_CELL(n##_en, en)
#include QV_TEXT_TABLE
#undef QV_TEXT_ROW

}  // namespace

#define QV_TEXT_ROW(n, ...)                                                                             \
  __attribute__((section("qvlang_t"), used)) TextRecord n = {                                           \
      kRecordMarker, kLanguageCount, 0,                                                                 \
      {n##_en, n##_ja, n##_de, n##_es, n##_fr, n##_zhCN, n##_zhTW, n##_da, n##_fi, n##_it, n##_ko,      \
       n##_nl, n##_nb, n##_ptBR, n##_ptPT, n##_ru, n##_sv, n##_pl},                                     \
      nullptr};
#include QV_TEXT_TABLE
#undef QV_TEXT_ROW
#undef QV_TEXT_CELL

}  // namespace qv

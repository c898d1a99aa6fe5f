#pragma once

#include <QString>

#include <chrono>

namespace ovalin {

/// The search engine's page for a query that is appended percent-encoded.
[[nodiscard]] const QString& searchPageURL();

/// The search page for a query; everything but letters, marks and digits of all scripts is percent-encoded. Pure.
[[nodiscard]] QString googleSearchURL(const QString& query);

/// Whether the address already is a search page. Pure.
[[nodiscard]] bool isSearchPage(const QString& url);

/// How long a search may hold up a question.
inline constexpr std::chrono::milliseconds SEARCH_LIMIT{8000};

/// What the search script finds for the question: one "- TITLE — URL" a result, a snippet on an indented line of its
/// own below. Empty when there is nothing or when anything failed. At the limit the script and all of its group are
/// ended. Blocks: for worker threads.
[[nodiscard]] QString googleSearch(const QString& question, const QString& searchScript,
                                   std::chrono::milliseconds limit = SEARCH_LIMIT);

/// The result lines of the JSON that the script prints; empty when it is no array of objects. Pure.
[[nodiscard]] QString searchResultText(const QByteArray& json);

/// The part of the message that tells the agent what it may link to. `results` is what googleSearch() returned. Pure.
[[nodiscard]] QString groundingBlock(const QString& question, const QString& results);

} // namespace ovalin

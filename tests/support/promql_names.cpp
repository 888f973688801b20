// SPDX-License-Identifier: MIT

#include "tests/support/promql_names.h"

#include <cctype>
#include <stdexcept>

namespace support {
namespace {

const std::set<std::string> GROUPING = {"by", "without", "on", "ignoring", "group_left", "group_right"};
const std::set<std::string> WORDS = {"and", "or", "unless", "bool", "offset", "inf", "nan", "Inf", "NaN"};

bool IsNameStart(char c)
{
    return std::isalpha(static_cast<unsigned char>(c)) != 0 || c == '_' || c == ':';
}

bool IsNamePart(char c)
{
    return IsNameStart(c) || std::isdigit(static_cast<unsigned char>(c)) != 0;
}

/// Walks an expression once, from the left.
class Reader {
public:
    explicit Reader(const std::string& text) : m_text(text) {}

    PromqlNames Read()
    {
        while (m_at < m_text.size()) {
            const char c = m_text[m_at];
            if (c == '"' || c == '\'') {
                Text();
            } else if (c == '[') {
                m_at = After(']');
            } else if (c == '{') {
                throw std::invalid_argument("a selector without a metric name in: " + m_text);
            } else if (std::isdigit(static_cast<unsigned char>(c)) != 0 || c == '$') {
                ++m_at;
                Name();
            } else if (IsNameStart(c)) {
                Word(Name());
            } else {
                ++m_at;
            }
        }
        return m_names;
    }

private:
    std::size_t After(char end) const
    {
        const std::size_t found = m_text.find(end, m_at);
        if (found == std::string::npos) {
            throw std::invalid_argument(std::string("no ") + end + " in: " + m_text);
        }
        return found + 1;
    }

    void SkipSpace()
    {
        while (m_at < m_text.size() && std::isspace(static_cast<unsigned char>(m_text[m_at])) != 0) {
            ++m_at;
        }
    }

    bool Take(char c)
    {
        SkipSpace();
        if (m_at < m_text.size() && m_text[m_at] == c) {
            ++m_at;
            return true;
        }
        return false;
    }

    std::string Name()
    {
        const std::size_t begin = m_at;
        while (m_at < m_text.size() && (IsNamePart(m_text[m_at]) || m_text[m_at] == '.')) {
            ++m_at;
        }
        return m_text.substr(begin, m_at - begin);
    }

    /// The text in quotes that begins here.
    std::string Text()
    {
        const char quote = m_text[m_at++];
        const std::size_t begin = m_at;
        while (m_at < m_text.size() && m_text[m_at] != quote) {
            m_at += m_text[m_at] == '\\' ? 2U : 1U;
        }
        if (m_at >= m_text.size()) {
            throw std::invalid_argument("a text does not end in: " + m_text);
        }
        return m_text.substr(begin, m_at++ - begin);
    }

    void Word(const std::string& name)
    {
        if (GROUPING.count(name) != 0) {
            Labels();
            return;
        }
        if (WORDS.count(name) != 0) {
            return;
        }
        SkipSpace();
        // An aggregation may have its labels between its name and its argument: sum by (job) (...).
        const std::size_t next = m_at;
        const bool isAggregation = GROUPING.count(Name()) != 0;
        m_at = next;
        if (isAggregation || (m_at < m_text.size() && m_text[m_at] == '(')) {
            return;
        }
        m_names.selectors.push_back({name, {}});
        if (Take('{')) {
            Matchers(m_names.selectors.back());
        }
    }

    void Labels()
    {
        if (!Take('(')) {
            return;
        }
        while (!Take(')')) {
            SkipSpace();
            const std::string label = Name();
            if (label.empty() && !Take(',')) {
                throw std::invalid_argument("no list of labels in: " + m_text);
            }
            if (!label.empty()) {
                m_names.grouped.insert(label);
            }
        }
    }

    void Matchers(MetricSelector& selector)
    {
        while (!Take('}')) {
            SkipSpace();
            LabelMatcher matcher;
            matcher.label = Name();
            SkipSpace();
            while (m_at < m_text.size() &&
                   (m_text[m_at] == '=' || m_text[m_at] == '!' || m_text[m_at] == '~')) {
                matcher.op += m_text[m_at++];
            }
            SkipSpace();
            if (matcher.label.empty() || matcher.op.empty() || m_at >= m_text.size() ||
                (m_text[m_at] != '"' && m_text[m_at] != '\'')) {
                throw std::invalid_argument("no list of conditions in: " + m_text);
            }
            matcher.value = Text();
            selector.matchers.push_back(matcher);
            Take(',');
        }
    }

    const std::string& m_text;
    std::size_t m_at = 0;
    PromqlNames m_names;
};

}  // namespace

PromqlNames NamesOf(const std::string& expression)
{
    return Reader(expression).Read();
}

}  // namespace support

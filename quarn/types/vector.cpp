#include "quarn/types/vector.h"

#include <algorithm>
#include <cmath>

#include "quarn/interpreter/engine/text_writer.h"
#include "quarn/interpreter/state.h"
#include "quarn/types/reference.h"
#include "quarn/types/scalar.h"

namespace Quarn {

namespace {

s_str TooLarge() {
    return "\tError : Vectors of more than " + s_str(s_uint(Vector::LargestSize)) + " numbers are not supported";
}

/// The vector of these elements, unless it is too large or nests too deeply.
[[gnu::noinline]] s_refptr<Symbol> Build(State& state, const s_str& name, Elements elements, s_str& error) {
    s_refptr<Vector> vector = make_refptr<Vector>(name, std::move(elements));
    Limits& limits = state.GetLimits();
    if (vector->GetNesting() > limits.GetDeepestNesting()) return limits.AbandonTooDeep(error);
    if (vector->GetSize() > Vector::LargestSize) return limits.Abandon(error, TooLarge());
    if (const Outcome outcome = limits.Spend(vector->GetSize(), error); !outcome) {
        limits.Destroy(std::move(vector));
        return outcome;
    }
    return vector;
}

/// Returns null because an element failed.
[[gnu::noinline]] s_refptr<Symbol> GiveUp(State& state, Elements elements) {
    state.GetLimits().Destroy(elements.TakeApart());
    return nullptr;
}

/// The vector of `count` elements given by `makeElement(i)`; null if one of them fails.
template <class MakeElement>
s_refptr<Symbol> BuildFrom(State& state, std::size_t count, s_str& error, const MakeElement& makeElement) {
    const Limits::Level level(state.GetLimits());
    if (!level) return state.GetLimits().AbandonTooDeep(error);
    Elements elements;
    elements.Reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        Operand element = makeElement(i);
        if (!element) return GiveUp(state, std::move(elements));
        elements.PushBack(std::move(element));
    }
    return Build(state, "", std::move(elements), error);
}

// Messages are built in functions of their own, because their callers take stack for every level of nesting.

[[gnu::noinline]] Outcome FailWithLengths(const char* verb, s_uint left, s_uint right, s_str& error) {
    return Fail(error, "\tError : Cannot " + s_str(verb) + " two Vectors of different length (" + s_str(left) +
                           " and " + s_str(right) + ")");
}

[[gnu::noinline]] Outcome FailNonHomogeneous(s_str& error, const s_str& first, const s_str& second) {
    return Fail(error, "\tError : Non-homogeneous Vectors are not allowed.\n\t        Trying to mix " + first +
                           " with " + second);
}

/// Applies `op` to the elements at the same positions; `verb` describes it in messages.
s_refptr<Symbol> ElementWise(State& state, const char* op, const char* verb, const Vector& a, const Vector& b,
                             s_str& error) {
    const auto& left = a.GetElements();
    const auto& right = b.GetElements();
    if (left.Count() != right.Count()) return FailWithLengths(verb, left.Size(), right.Size(), error);
    return BuildFrom(state, left.Count(), error,
                     [&](std::size_t i) { return state.ApplyBinaryOperator(op, left.At(i), right.At(i), error); });
}

s_refptr<Symbol> Add(State& state, const Vector& a, const Vector& b, s_str& error) {
    return ElementWise(state, "+", "add", a, b, error);
}

s_refptr<Symbol> Subtract(State& state, const Vector& a, const Vector& b, s_str& error) {
    return ElementWise(state, "-", "substract", a, b, error);
}

s_refptr<Symbol> ScaleFromLeft(State& state, const Scalar& s, const Vector& v, s_str& error) {
    const Operand factor = Operand::Flattened(s.Clone()); // keeps its name: messages leave out named operands
    const auto& elements = v.GetElements();
    return BuildFrom(state, elements.Count(), error,
                     [&](std::size_t i) { return state.ApplyBinaryOperator("*", factor, elements.At(i), error); });
}

s_refptr<Symbol> ScaleFromRight(State& state, const Vector& v, const Scalar& s, s_str& error) {
    const Operand factor = Operand::Flattened(s.Clone()); // keeps its name: messages leave out named operands
    const auto& elements = v.GetElements();
    return BuildFrom(state, elements.Count(), error,
                     [&](std::size_t i) { return state.ApplyBinaryOperator("*", elements.At(i), factor, error); });
}

s_refptr<Symbol> Negate(State& state, const Vector& v, s_str& error) {
    const auto& elements = v.GetElements();
    return BuildFrom(state, elements.Count(), error,
                     [&](std::size_t i) { return state.ApplyRightUnaryOperator("-", elements.At(i), error); });
}

/// (a2 b3 - a3 b2, a3 b1 - a1 b3, a1 b2 - a2 b1); the subtrahends are evaluated first.
s_refptr<Symbol> CrossProduct(State& state, const Vector& a, const Vector& b, s_str& error) {
    const auto& left = a.GetElements();
    const auto& right = b.GetElements();
    if (left.Count() != 3 || right.Count() != 3)
        return Fail(error, "\tError : The cross product '^' is only available for 3-Vectors");
    return BuildFrom(state, 3, error, [&](std::size_t i) -> Operand {
        const std::size_t j = (i + 1) % 3;
        const std::size_t k = (i + 2) % 3;
        const Operand subtrahend = state.ApplyBinaryOperator("*", left.At(k), right.At(j), error);
        if (!subtrahend) return {};
        const Operand minuend = state.ApplyBinaryOperator("*", left.At(j), right.At(k), error);
        if (!minuend) return {};
        return state.ApplyBinaryOperator("-", minuend, subtrahend, error);
    });
}

/// Positions start at 0 and wrap around at both ends, however far they lie beyond.
s_refptr<Symbol> Index(const Vector& v, const Scalar& index, s_str& error) {
    const double position = Elementary::Round(index.GetValue());
    const auto& elements = v.GetElements();
    if (elements.IsEmpty()) return Fail(error, "\tError : Cannot index an empty Vector");
    if (!std::isfinite(position)) return Fail(error, "\tError : Cannot index a Vector with '" + s_str(position) + "'");
    const auto length = static_cast<double>(elements.Count());
    const double wrapped = std::fmod(position, length);
    return Symbol::Named(elements[static_cast<std::size_t>(wrapped < 0 ? wrapped + length : wrapped)], "");
}

/// Checks that an element has the same type as the others so far. References are skipped.
[[gnu::noinline]] Outcome TakeElement(const Operand& element, s_str& elementType, s_str& error) {
    const FlatType* const flat = element.GetFlatType();
    s_str fullType;
    if (!flat || flat->hasFullType) fullType = element.ToObject()->GetFullType();
    const s_str& type = flat && !flat->hasFullType ? *flat->name : fullType;
    if (type == elementType || type == Reference::TypeName) return Outcome::WentOn;
    if (!elementType.IsEmpty() && type != elementType) return FailNonHomogeneous(error, elementType, type);
    elementType = type;
    return Outcome::WentOn;
}

/// Compares the types that the references lead to, once the type of the other elements is known. A vector of references
/// only is always refused, because its type stays unknown. Pinned by the transcript "vectors".
[[gnu::noinline]] Outcome CheckReferences(const Elements& elements, const s_str& elementType, s_str& error) {
    if (elements.GetFlatType()) return Outcome::WentOn;
    for (const s_refptr<Symbol>& element : elements) {
        if (!As<Reference>(*element)) continue;
        const s_refptr<Symbol> value = Reference::Resolve(element, error);
        if (!value) return Outcome::Failed;
        const s_str& type = Reference::TypeOfResolved(*value);
        if (type != elementType) return FailNonHomogeneous(error, elementType, type);
    }
    return Outcome::WentOn;
}

std::string_view ElementsIn(std::string_view text, bool isLiteral) {
    return isLiteral ? text.substr(1, text.size() - 2) : text;
}

} // namespace

void Vector::Register(State& state) {
    Registry& registry = state.EditRegistry();
    registry.types[TypeNameOf<Vector>()] = [](const s_str& name) { return make_refptr<Vector>(name); };
    LiteralTest& test = registry.literalTests[TypeNameOf<Vector>()];
    test = [](std::string_view text) { return text.starts_with('<') && text.ends_with('>'); };
    test.beginnings = "<";
    Constructor& constructor = registry.constructors[TypeNameOf<Vector>()];
    constructor = Pure<Constructor>(CreateFrom);
    constructor.expressionsIn = ElementsIn;

    Binding bind(state, Purity::Pure);
    bind.Binary("*", ScaleFromLeft);
    bind.Binary("*", ScaleFromRight);
    bind.Binary("+", Add);
    bind.Binary("-", Subtract);
    bind.Binary("^", CrossProduct);
    bind.Binary("[]", Index);

    bind.RightUnary("+", [](const Vector& v) { return v.Clone(); });
    bind.RightUnary("-", Negate);
}

s_refptr<Symbol> Vector::CreateFrom(State& state, const s_str& name, std::string_view text, s_bool isLiteral,
                                    s_str& error) {
    // Splitting reads all of the text, once for each vector around it.
    if (const Outcome outcome = state.GetLimits().Poll(error); !outcome) return outcome;
    std::vector<std::string_view> elementTexts;
    if (!state.SplitArguments(elementTexts, ElementsIn(text, static_cast<bool>(isLiteral)), error)) return nullptr;
    s_str elementType;
    Elements elements;
    elements.Reserve(elementTexts.size());
    for (const std::string_view elementText : elementTexts) {
        Operand element = state.ParseOperand(elementText, error);
        if (!element || !TakeElement(element, elementType, error)) return GiveUp(state, std::move(elements));
        elements.PushBack(std::move(element));
    }
    if (!CheckReferences(elements, elementType, error)) return GiveUp(state, std::move(elements));
    return Build(state, name, std::move(elements), error);
}

void Elements::Reserve(std::size_t count) { m_expected = count; }

void Elements::PushBack(Operand element) {
    const FlatType* const type = element.GetFlatType();
    if (IsEmpty()) {
        m_type = type;
        if (m_type) m_words.reserve(m_expected);
        else m_objects.reserve(m_expected);
    }
    if (m_type && m_type == type) return m_words.push_back(element.GetWord());
    if (m_type) {
        m_objects.reserve(std::max(m_expected, m_words.size() + 1));
        for (const Word word : m_words) PushObject(m_type->make(word));
        m_type = nullptr;
        std::vector<Word>().swap(m_words);
    }
    PushObject(std::move(element).ToObject());
}

void Elements::PushObject(s_refptr<Symbol> object) {
    const Vector* const vector = As<Vector>(*object);
    m_size += vector ? std::max<std::size_t>(vector->GetSize(), 1) : 1;
    m_weight += object->GetWeight();
    if (vector) m_nesting = std::max(m_nesting, vector->GetNesting());
    m_objects.push_back(std::move(object));
}

Vector::Vector(const s_str& name, Elements elements)
    : Value(name), m_elements(make_refptr<Elements>(std::move(elements))) {}

Result<s_refptr<Symbol>> Vector::Make(Elements elements) {
    s_str elementType;
    s_str error;
    const FlatType* const flat = elements.GetFlatType();
    const std::size_t checked = flat && !flat->hasFullType ? 0 : elements.Count();
    for (std::size_t i = 0; i < checked; ++i)
        if (!TakeElement(elements.At(i), elementType, error)) return Result<s_refptr<Symbol>>::Error(error);
    s_refptr<Vector> vector = make_refptr<Vector>("", std::move(elements));
    if (vector->GetSize() > LargestSize) return Result<s_refptr<Symbol>>::Error(TooLarge(), FailureKind::SizeLimit);
    return s_refptr<Symbol>(std::move(vector));
}

s_str Vector::ToString() const { return TextWriter::TextOf(*this, nullptr); }

namespace {

Outcome WriteElement(TextWriter& writer, const Elements& elements, std::size_t i) {
    constexpr std::size_t BetweenLooks = 4096;
    Outcome outcome = Outcome::WentOn;
    if (i % BetweenLooks == BetweenLooks - 1) outcome = writer.CheckStopped();
    if (outcome && i > 0) outcome = writer.Append(", ");
    return outcome ? writer.Write(elements.At(i)) : outcome;
}

} // namespace

Outcome Vector::WriteTo(TextWriter& writer) const {
    return writer.Nest([&] {
        const std::size_t count = m_elements->Count();
        Outcome outcome = writer.Spend(count);
        if (outcome) outcome = writer.AppendName(GetName());
        if (outcome) outcome = writer.Append(count > 0 ? "<" : "<>");
        for (std::size_t i = 0; outcome && i < count; ++i) outcome = WriteElement(writer, *m_elements, i);
        return outcome && count > 0 ? writer.Append(">") : outcome;
    });
}

std::vector<s_refptr<Symbol>> Vector::TakeApart() {
    return m_elements.IsUnique() ? m_elements->TakeApart() : std::vector<s_refptr<Symbol>>();
}

s_str Vector::GetFullType() const { return s_str(m_elements->Size()) + "-" + TypeName; }

} // namespace Quarn

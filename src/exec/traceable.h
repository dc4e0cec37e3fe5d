#pragma once

#include <boost/format.hpp>

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

// Exceptions that can be traced: each has a name, a formatted message, a unique id, a code, the
// place where it was raised and, if another one led to it, that one. A visitor walks all of it.

class Cloneable
{
public:
    virtual ~Cloneable();

    // A new copy of the most derived object; the caller deletes it.
    virtual Cloneable *clone() const = 0;

protected:
    Cloneable() = default;
    Cloneable(const Cloneable &) = default;
    Cloneable &operator=(const Cloneable &) = default;
};

namespace korvo
{

// What visit() of an exception calls.
class ExVisitor
{
public:
    virtual ~ExVisitor();

    virtual void onName(const std::string &name) = 0;
    virtual void onId(const std::string &id) = 0;
    virtual void onMessage(const std::string &message) = 0;
    virtual void onFunction(const std::string &function) = 0;
    virtual void onFile(const std::string &file) = 0;
    virtual void onLine(int line) = 0;
    virtual void onIncluded() = 0; // the calls that follow are about the included exception
    virtual void onCode(int code) = 0;
};

class ExVisitable
{
public:
    virtual ~ExVisitable();
    virtual void visit(ExVisitor &visitor) const = 0;

protected:
    ExVisitable() = default;
    ExVisitable(const ExVisitable &) = default;
    ExVisitable &operator=(const ExVisitable &) = default;
};

class IExTraceable : public Cloneable, public ExVisitable, public std::runtime_error
{
public:
    ~IExTraceable() override;
    IExTraceable *clone() const override = 0;
    virtual int code() const = 0;

protected:
    using std::runtime_error::runtime_error;
    IExTraceable(const IExTraceable &) = default;
    IExTraceable &operator=(const IExTraceable &) = default;
};

struct ExDefault {
};

// One kind of failure. Its address makes the type of the exceptions that report it.
struct ExKind {
    const char *name;
    const char *message_format; // in Boost.Format's notation
    int code;
};

// A random id of the form xxxxxxxx-xxxx-4xxx-8xxx-xxxxxxxxxxxx. It is drawn from rand(), which is
// never seeded and which nothing else draws from: each process has the same sequence of ids.
std::string newExceptionId();

template <class Defaults>
class ExTraceableBase : public IExTraceable
{
public:
    ExTraceableBase(const std::string &name, const std::string &message_format, int code)
        : IExTraceable(name), message_(message_format), id_(newExceptionId()), code_(code)
    {
    }

    ExTraceableBase *clone() const override { return new ExTraceableBase(*this); }
    int code() const override { return code_; }

    // The message with its arguments. Ends the process if arguments are missing.
    const char *what() const noexcept override // NOLINT(bugprone-exception-escape)
    {
        const std::string text = message_.str();
        text_ = text; // a copy: what an earlier call has returned stays valid
        return text_.c_str();
    }

    void visit(ExVisitor &visitor) const override
    {
        visitor.onName(std::runtime_error::what());
        visitor.onId(id_);
        visitor.onCode(code_);
        visitor.onMessage(what());
    }

    // Supplies the next argument of the message.
    template <typename Argument>
    void feed(const Argument &argument)
    {
        message_ % argument;
    }

private:
    boost::format message_;
    mutable std::string text_;
    std::string id_;
    int code_;
};

template <class Defaults>
class ExTaggedIncludableBase : public ExTraceableBase<Defaults>
{
public:
    using ExTraceableBase<Defaults>::ExTraceableBase;
    ExTaggedIncludableBase(const ExTaggedIncludableBase &other)
        : ExTraceableBase<Defaults>(other),
          included_(other.included_ == nullptr ? nullptr : other.included_->clone())
    {
    }
    ExTaggedIncludableBase &operator=(const ExTaggedIncludableBase &) = delete;
    ~ExTaggedIncludableBase() override = default;

    ExTaggedIncludableBase *clone() const override { return new ExTaggedIncludableBase(*this); }

    void visit(ExVisitor &visitor) const override
    {
        ExTraceableBase<Defaults>::visit(visitor);
        if (included_ != nullptr) {
            visitor.onIncluded();
            included_->visit(visitor);
        }
    }

    // Attaches a copy of the exception that led to this one.
    void include(const IExTraceable &cause) { included_.reset(cause.clone()); }

private:
    std::unique_ptr<IExTraceable> included_;
};

// The exception that reports one kind of failure.
template <const ExKind *Kind, class Defaults>
class Exc : public ExTaggedIncludableBase<Defaults>
{
public:
    // function: the raising function's full signature.
    Exc(std::string function, std::string file, int line)
        : ExTaggedIncludableBase<Defaults>(Kind->name, Kind->message_format, Kind->code),
          function_(std::move(function)), file_(std::move(file)), line_(line)
    {
    }
    ~Exc() override = default;
    Exc(const Exc &) = default;
    Exc &operator=(const Exc &) = delete;

    Exc *clone() const override { return new Exc(*this); }

    void visit(ExVisitor &visitor) const override
    {
        visitor.onFunction(function_);
        visitor.onFile(file_);
        visitor.onLine(line_);
        ExTaggedIncludableBase<Defaults>::visit(visitor);
    }

private:
    std::string function_;
    std::string file_;
    int line_;
};

} // namespace korvo

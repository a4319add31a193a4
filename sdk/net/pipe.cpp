#include "sdk/net/pipe.h"

#include <utility>

#include "sdk/net/system_pipe.h"

namespace vex::net {

namespace {

using Use = Closable<SystemPipe>::Use;

std::error_code canceled() noexcept { return std::make_error_code(std::errc::operation_canceled); }

template <class Bytes>
std::size_t transfer(Closable<SystemPipe>& pipe, Bytes bytes, std::chrono::milliseconds timeout, std::error_code& error,
                     std::size_t (SystemPipe::*move)(Bytes, const Deadline&, std::error_code&)) noexcept
{
    error = {};
    const Use system(pipe);
    if (!system) {
        error = canceled();
        return 0;
    }
    return bytes.empty() ? 0 : ((*system.operator->()).*move)(bytes, Deadline(timeout), error);
}

}  // namespace

std::shared_ptr<Pipe> Pipe::connect(const PipeName& name, std::chrono::milliseconds timeout)
{
    return std::make_shared<Pipe>(connect_system_pipe(name, timeout));
}

Pipe::Pipe(std::unique_ptr<SystemPipe> system) : system_(std::move(system)) {}

Pipe::~Pipe() = default;

void Pipe::close() noexcept { system_.close(); }

std::size_t Pipe::read(std::span<std::uint8_t> bytes, std::chrono::milliseconds timeout,
                       std::error_code& error) noexcept
{
    return transfer<std::span<std::uint8_t>>(system_, bytes, timeout, error, &SystemPipe::read);
}

std::size_t Pipe::write(std::span<const std::uint8_t> bytes, std::chrono::milliseconds timeout,
                        std::error_code& error) noexcept
{
    return transfer<std::span<const std::uint8_t>>(system_, bytes, timeout, error, &SystemPipe::write);
}

std::shared_ptr<PipeServer> PipeServer::serve(const PipeName& name)
{
    PipeName served = name;
    auto system = serve_system_pipe(served);
    return std::make_shared<PipeServer>(std::move(served), std::move(system));
}

PipeServer::PipeServer(PipeName name, std::unique_ptr<SystemPipe> system)
    : name_(std::move(name)), pipe_(std::move(system))
{}

std::error_code PipeServer::accept(std::chrono::milliseconds timeout) noexcept
{
    const Use system(pipe_.system_);
    return system ? system->accept(Deadline(timeout)) : canceled();
}

void PipeServer::part() noexcept
{
    const Use system(pipe_.system_);
    if (system) {
        system->part();
    }
}

}  // namespace vex::net

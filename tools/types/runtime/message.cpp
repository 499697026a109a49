#include "Vorn35/protobuf/Message.h"

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>

#include "Vorn35/Statistics.h"
#include "envelope.h"
#include "vorn35/options.pb.h"

namespace Vorn35::typed {

namespace io = google::protobuf::io;

namespace {

/// Of the failure in an answer: a field number that no message can declare, so that no answer begins with its tag.
constexpr std::uint32_t c_failure_tag = 19035 << 3 | 2;

}  // namespace

const char* get_error_name(Error _error) {
    if (_error == VORN_ERR_MALFORMED_PAYLOAD_) return "VORN_ERR_MALFORMED_PAYLOAD_";
    if (_error == VORN_ERR_CANCELLED_) return "VORN_ERR_CANCELLED_";
    return get_err_str(_error);
}

std::string Failure::message() const {
    const std::string what = is_of_service() ? std::to_string(code) : get_error_name(error);
    return text.empty() ? what : what + ": " + text;
}

Result<void> check_message(const Message& _message, std::size_t _size, std::size_t _largest) {
    if (_size > _largest) {
        return Failure::of_runtime(VORN_ERR_TOO_BIG_SIZE_, "the " + _message.GetTypeName() + " has " +
                                                               std::to_string(_size) + " bytes, and at most " +
                                                               std::to_string(_largest) + " can be sent");
    }
    if (!_message.IsInitialized()) {
        return Failure::of_runtime(VORN_ERR_MALFORMED_PAYLOAD_,
                                   "the " + _message.GetTypeName() + " lacks " + _message.InitializationErrorString());
    }
    return {};
}

Encoded::Encoded(const Message& _message, std::size_t _prefix, std::size_t _largest) {
    const std::size_t size = _message.ByteSizeLong();
    outcome = check_message(_message, size, _largest);
    if (!outcome) return;
    count = _prefix + size;
    begin = small.data();
    if (count > small.size()) {
        large.reset(new std::byte[count]);
        begin = large.get();
    }
    _message.SerializeWithCachedSizesToArray(reinterpret_cast<std::uint8_t*>(begin + _prefix));
}

bool decode(Bytes _bytes, Message* _message_) {
    // ParseFromArray would write to standard error about a required field.
    return _bytes.size() <= c_largest_message &&
           _message_->ParsePartialFromArray(_bytes.data(), static_cast<int>(_bytes.size())) &&
           _message_->IsInitialized();
}

Failure malformed(const Message& _message) {
    return Failure::of_runtime(VORN_ERR_MALFORMED_PAYLOAD_, "the payload is not a " + _message.GetTypeName());
}

Failure count_malformed(const Message& _message, Transaction _kind) {
    count_malformed_payload(_kind);
    return malformed(_message);
}

bool is_failure(Error _error, Bytes _bytes, Failure* _failure_) {
    if (_error != 0) {
        *_failure_ = Failure::of_runtime(_error);
        if (_error == VORN_ERR_MALFORMED_PAYLOAD_) _failure_->text = "the service could not read the request";
        return true;
    }
    io::CodedInputStream input(reinterpret_cast<const std::uint8_t*>(_bytes.data()), static_cast<int>(_bytes.size()));
    std::uint32_t size = 0;
    if (input.ReadTag() != c_failure_tag || !input.ReadVarint32(&size)) return false;
    vorn35::Failure failure;
    if (size > _bytes.size() - static_cast<std::size_t>(input.CurrentPosition()) ||
        !failure.ParseFromArray(_bytes.data() + input.CurrentPosition(), static_cast<int>(size))) {
        *_failure_ = count_malformed(failure, 1);
    } else {
        *_failure_ = Failure(failure.code(), std::move(*failure.mutable_text()));
    }
    return true;
}

std::string encode_failure(const Failure& _failure) {
    vorn35::Failure failure;
    // A handler may pass on an error that it got from another service.
    failure.set_code(_failure.is_of_service() ? _failure.code : _failure.error);
    failure.set_text(_failure.text.substr(0, c_largest_message / 2));
    std::string out;
    {
        io::StringOutputStream stream(&out);
        io::CodedOutputStream output(&stream);
        output.WriteTag(c_failure_tag);
        output.WriteVarint32(static_cast<std::uint32_t>(failure.ByteSizeLong()));
        failure.SerializeWithCachedSizes(&output);
    }
    return out;
}

namespace envelope {

namespace {

/// Field 19036, fixed32: its tag takes three bytes, so the number is found and removed without a parser.
constexpr std::array<std::byte, 3> c_number_tag = {std::byte{0xE5}, std::byte{0xA5}, std::byte{0x09}};
static_assert((19036U << 3 | 5U) == (0x65U | 0x25U << 7 | 0x09U << 14));

}  // namespace

void put_number(std::byte* _prefix, std::uint32_t _number) {
    std::copy(c_number_tag.begin(), c_number_tag.end(), _prefix);
    for (std::size_t i = 0; i < 4; ++i) _prefix[c_number_tag.size() + i] = static_cast<std::byte>(_number >> 8 * i);
}

std::uint32_t take_number(Bytes* _request_) {
    if (_request_->size() < c_number_size ||
        !std::equal(c_number_tag.begin(), c_number_tag.end(), _request_->begin())) {
        return 0;
    }
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        number |= static_cast<std::uint32_t>((*_request_)[c_number_tag.size() + i]) << 8 * i;
    }
    *_request_ = _request_->subspan(c_number_size);
    return number;
}

}  // namespace envelope

}  // namespace Vorn35::typed

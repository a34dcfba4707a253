// The I2C pod of an FTDI cable with an MPSSE engine (FT2232H, FT4232H, FT232H), driven through
// libftdi1. The bus is bit-banged by MPSSE commands (FTDI AN_108, "Command Processor for MPSSE
// and MCU Host Bus Emulation Modes"; I2C wiring as in AN_255): ADBUS0 is SCL, ADBUS1 drives SDA
// and ADBUS2 reads it back, and a line is released (pulled up) by making its pin an input.
#pragma once

#include "I2cPod.h"

#include <cstdint>
#include <memory>
#include <vector>

// The cable descriptions a pod channel is offered for (the USB product strings of the parts).
const std::vector<QString>& AcceptedMpsseDescriptions();

// MPSSE command sequences, appended to a buffer. Each leaves SCL low except the stop, which ends
// with both lines released.
namespace mpsse
{
// Setup: no divide-by-5, no adaptive clocking, three-phase clocking, the divisor for ulClockHz
// from the 60 MHz base (2/3 of it seen by the bus with three-phase clocking), no loopback, lines
// released.
void AppendSetup(std::vector<uint8_t>& commands, uint32_t ulClockHz);
void AppendStart(std::vector<uint8_t>& commands);
void AppendStop(std::vector<uint8_t>& commands);
// Clocks a byte out and reads the acknowledge bit back (one byte of reply, bit 0: 1 is a NAK).
void AppendWriteByte(std::vector<uint8_t>& commands, uint8_t uchByte);
// Clocks a byte in (one byte of reply) and answers ACK, or NAK for the last byte of a read.
void AppendReadByte(std::vector<uint8_t>& commands, bool bAck);
// Ends a batch: the reply bytes are sent now.
void AppendFlush(std::vector<uint8_t>& commands);
// The clock divisor for a bus clock (three-phase clocking): 60 MHz / ((1 + d) x 2) x 2/3.
uint16_t ClockDivisor(uint32_t ulClockHz);
} // namespace mpsse

// Null when libftdi1 can't be initialised.
std::unique_ptr<II2cPod> MakeMpssePod();

// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
/**
 * The compiler's check of the binary interface: see Checks.h. A line that fails here means that
 * applications must be recompiled: undo the change, or increase the SONAME's number.
 */
#include "vantorel/abi/private/Checks.h"
#include "vantorel/camera/Camera.h"
#include "vantorel/camera/CameraError.h"
#include "vantorel/camera/CameraManager.h"
#include "vantorel/devices/Button.h"
#include "vantorel/devices/ButtonService.h"
#include "vantorel/devices/Charger.h"
#include "vantorel/devices/LCD.h"
#include "vantorel/devices/LCDService.h"
#include "vantorel/devices/TestFixture.h"
#include "vantorel/devices/Thermometer.h"
#include "vantorel/devices/ThermometerService.h"
#include "vantorel/devices/Torch.h"
#include "vantorel/fuelgauge/FuelGauge.h"
#include "vantorel/fuelgauge/FuelGaugeService.h"
#include "vantorel/logger/Logger.h"
#include "vantorel/logger/LoggerService.h"
#include "vantorel/power/ConnectionManager.h"
#include "vantorel/power/PowerManager.h"
#include "vantorel/system/Filesystem.h"
#include "vantorel/ui/UserInterfaceManager.h"
#include "vantorel/ui/Version.h"
#include "vantorel/update/FirmwareUpdateManager.h"
#include "vantorel/usb/USB.h"
#include "vantorel/usb/USBGadgetMassStorage.h"
#include "vantorel/usb/USBGadgetSerial.h"
#include "vantorel/usb/USBGadgetSubi.h"

namespace vantorel::abi {

// Slots of the virtual operations. A destructor that comes first takes the first two.

template struct Slots<2, &Service::ServiceFunction>;
template struct Slots<0, &Connection::IsConnected>;
template struct Slots<2, &USBGadget::OnAdd, &USBGadget::OnRemove, &USBGadget::OnBind,
                      &USBGadget::OnUnbind>;

template struct Slots<0, &ButtonObserver::OnButtonUp, &ButtonObserver::OnButtonDown,
                      &ButtonObserver::OnButtonError>;
template struct Slots<0, &CameraObserver::OnCameraConnect, &CameraObserver::OnCameraDisconnect,
                      &CameraObserver::OnCameraCaptureSessionStart,
                      &CameraObserver::OnCameraCaptureSessionStop,
                      &CameraObserver::OnCameraFrameAvailable, &CameraObserver::OnCameraError>;
template struct Slots<0, &ConnectionObserver::OnConnectionStateChanged,
                      &ConnectionObserver::OnConnectionError>;
template struct Slots<0, &FirmwareUpdateObserver::OnFirmwareUpdateFileFound,
                      &FirmwareUpdateObserver::OnFirmwareUpdateFileValid,
                      &FirmwareUpdateObserver::OnFirmwareUpdateBegin,
                      &FirmwareUpdateObserver::OnFirmwareUpdateInProgress,
                      &FirmwareUpdateObserver::OnFirmwareUpdateComplete,
                      &FirmwareUpdateObserver::OnFirmwareUpdateError>;
template struct Slots<
    0, &FuelGaugeObserver::OnFuelGaugeLevelQuery, &FuelGaugeObserver::OnFuelGaugeCurrentQuery,
    &FuelGaugeObserver::OnFuelGaugeVoltageQuery, &FuelGaugeObserver::OnFuelGaugeTemperatureQuery,
    &FuelGaugeObserver::OnFuelGaugeError>;
template struct Slots<0, &LCDObserver::OnLCDDraw, &LCDObserver::OnLCDError>;
template struct Slots<0, &LoggerObserver::OnLoggerNewEntry, &LoggerObserver::OnLoggerError>;
template struct Slots<0, &ThermometerObserver::OnThermometerTemperatureQuery,
                      &ThermometerObserver::OnThermometerError>;
template struct Slots<0, &TorchObserver::OnTorchOn, &TorchObserver::OnTorchOff,
                      &TorchObserver::OnTorchError>;
template struct Slots<0, &USBGadgetObserver::OnUSBGadgetStopCaptureSessionRequest,
                      &USBGadgetObserver::OnUSBGadgetStartCaptureSessionRequest,
                      &USBGadgetObserver::OnUSBGadgetError>;
template struct Slots<0, &UserInterfaceObserver::OnUserInterfacePowerOffRequest,
                      &UserInterfaceObserver::OnUserInterfaceTorchOnRequest,
                      &UserInterfaceObserver::OnUserInterfaceTorchOffRequest,
                      &UserInterfaceObserver::OnUserInterfacePowerButtonDoubleClick,
                      &UserInterfaceObserver::OnUserInterfaceTorchButtonDoubleClick>;

// In a class with several bases, the operations of the other bases follow those of the first.
template struct Slots<
    4, &CameraManager::OnUSBGadgetStopCaptureSessionRequest,
    &CameraManager::OnUSBGadgetStartCaptureSessionRequest, &CameraManager::OnUSBGadgetError,
    &CameraManager::OnUserInterfacePowerOffRequest, &CameraManager::OnUserInterfaceTorchOnRequest,
    &CameraManager::OnUserInterfaceTorchOffRequest,
    &CameraManager::OnUserInterfacePowerButtonDoubleClick,
    &CameraManager::OnUserInterfaceTorchButtonDoubleClick>;
template struct Slots<
    8, &Camera::OnConnectionStateChanged, &Camera::OnConnectionError,
    &Camera::OnUSBGadgetStopCaptureSessionRequest, &Camera::OnUSBGadgetStartCaptureSessionRequest,
    &Camera::OnUSBGadgetError, &Camera::OnUserInterfacePowerOffRequest,
    &Camera::OnUserInterfaceTorchOnRequest, &Camera::OnUserInterfaceTorchOffRequest,
    &Camera::OnUserInterfacePowerButtonDoubleClick, &Camera::OnUserInterfaceTorchButtonDoubleClick>;
template struct Slots<8, &USB::IsConnected, &USB::OnFirmwareUpdateFileFound,
                      &USB::OnFirmwareUpdateFileValid, &USB::OnFirmwareUpdateBegin,
                      &USB::OnFirmwareUpdateInProgress, &USB::OnFirmwareUpdateComplete,
                      &USB::OnFirmwareUpdateError, &USB::BindGadgets>;
template struct Slots<2, &FuelGauge::Level, &FuelGauge::Current, &FuelGauge::Voltage,
                      &FuelGauge::Temperature, &FuelGauge::IsBatteryConnected, &FuelGauge::Reset,
                      &FuelGauge::Update>;
template struct Slots<6, &USBGadgetSubi::ServiceFunction, &USBGadgetSubi::OnCameraConnect,
                      &USBGadgetSubi::OnCameraDisconnect,
                      &USBGadgetSubi::OnCameraCaptureSessionStart,
                      &USBGadgetSubi::OnCameraCaptureSessionStop,
                      &USBGadgetSubi::OnCameraFrameAvailable, &USBGadgetSubi::OnCameraError>;

// Operations that end the process when an exception leaves them.

template struct EndsTheProcess<&Camera::OnCameraConnect, &Camera::OnCameraFrameAvailable,
                               &Camera::OnCameraError, &Camera::OnConnectionStateChanged,
                               &Camera::OnUSBGadgetStopCaptureSessionRequest,
                               &Camera::OnUSBGadgetStartCaptureSessionRequest>;
template struct EndsTheProcess<&Logger::OnCameraFrameAvailable,
                               &LoggerService::OnConnectionStateChanged>;
template struct EndsTheProcess<&USBGadgetSubi::OnCameraDisconnect,
                               &USBGadgetSubi::OnCameraFrameAvailable>;
template struct EndsTheProcess<&USB::OnFirmwareUpdateBegin,
                               &FirmwareUpdateManager::OnConnectionStateChanged>;

// Bases.

template struct Order<Charger, Connection, Device>;
template struct Order<TestFixture, Connection, Device>;
template struct Order<Torch, Device, ConnectionObserver, UserInterfaceObserver>;
template struct Order<FuelGaugeService, ConnectionObserver, Service>;
template struct Order<FirmwareUpdateManager, ConnectionObserver, Service>;
template struct Order<LoggerService, ConnectionObserver, Service>;
template struct Order<PowerManager, ConnectionObserver, UserInterfaceObserver>;
template struct Order<Logger, CameraObserver, FuelGaugeObserver, ThermometerObserver>;
template struct Order<Camera, CameraObserver, ConnectionObserver, USBGadgetObserver,
                      UserInterfaceObserver>;
template struct Order<CameraManager, ConnectionObserver, USBGadgetObserver, UserInterfaceObserver>;
template struct Order<USB, CameraObserver, Connection, Device, FirmwareUpdateObserver>;
template struct Order<USBGadgetSubi, USBGadget, CameraObserver, Service>;
template struct Order<UserInterfaceManager, ButtonObserver, CameraObserver, ConnectionObserver,
                      FirmwareUpdateObserver, FuelGaugeObserver, LCDObserver, LoggerObserver,
                      ThermometerObserver, TorchObserver>;

// Fields: the class, its size on the device, the offset of the first named field, their order.

template struct Fields<Error, 8, 4, &Error::value>;
static_assert(sizeof(CameraError) == sizeof(Error));
template struct Fields<Service, 24, 4, &Service::stop, &Service::running, &Service::interval,
                       &Service::thread>;
template struct Fields<Device, 56, 4, &Device::fd, &Device::name, &Device::path>;
template struct Fields<Charger, 68, 60, &Charger::onlineFd, &Charger::statusFd>;
template struct Fields<TestFixture, 656, 60, &TestFixture::lineFd, &TestFixture::request>;
template struct Fields<Button, 60, 56, &Button::code>;
template struct Fields<ButtonService, 40, 24, &ButtonService::observers>;
template struct Fields<Torch, 80, 64, &Torch::brightness, &Torch::disabled, &Torch::observers>;
template struct Fields<LCD, 656, 56, &LCD::bufferA, &LCD::bufferB, &LCD::backBuffer,
                       &LCD::framebuffers, &LCD::crtcs, &LCD::connectors, &LCD::encoders,
                       &LCD::resources, &LCD::connector, &LCD::modes, &LCD::properties,
                       &LCD::propertyValues, &LCD::connectorEncoders, &LCD::crtc, &LCD::recordsA,
                       &LCD::recordsB, &LCD::mode>;
template struct Fields<LCDService, 40, 24, &LCDService::observers>;
static_assert(sizeof(Thermometer) == sizeof(Device));
template struct Fields<ThermometerService, 40, 24, &ThermometerService::observers>;
template struct Fields<I2C, 60, 56, &I2C::address>;
template struct Fields<FuelGauge, 664, 64, &FuelGauge::request, &FuelGauge::lineFd>;
template struct Fields<FuelGaugeService, 48, 32, &FuelGaugeService::observers>;
template struct Fields<Filesystem, 80, 4, &Filesystem::device, &Filesystem::mountPoint,
                       &Filesystem::type, &Filesystem::useLoop, &Filesystem::readOnly>;
template struct Fields<ConnectionManager, 56, 32, &ConnectionManager::state,
                       &ConnectionManager::observers>;
static_assert(sizeof(PowerManager) == 2 * sizeof(void*));
template struct Fields<UserInterfaceManager, 136, 40, &UserInterfaceManager::frameCount,
                       &UserInterfaceManager::renderedImage, &UserInterfaceManager::frameCopy,
                       &UserInterfaceManager::frameMutex, &UserInterfaceManager::observers,
                       &UserInterfaceManager::state, &UserInterfaceManager::torchOn,
                       &UserInterfaceManager::batteryTemperature,
                       &UserInterfaceManager::boardTemperature>;
template struct Fields<Version, 124, 4, &Version::sku, &Version::hardware, &Version::fixed,
                       &Version::major, &Version::minor>;
template struct Fields<FirmwareUpdateManager, 200, 32, &FirmwareUpdateManager::updateDirectory,
                       &FirmwareUpdateManager::imageName, &FirmwareUpdateManager::disabled,
                       &FirmwareUpdateManager::fit, &FirmwareUpdateManager::rootfs,
                       &FirmwareUpdateManager::state, &FirmwareUpdateManager::observers>;
template struct Fields<FlashPartition, 48, 0, &FlashPartition::member, &FlashPartition::partition>;
template struct Fields<Logger, 3256, 12, &Logger::logDirectory, &Logger::sessionId, &Logger::log,
                       &Logger::kernelLog, &Logger::sessionInput, &Logger::sessionOutput,
                       &Logger::batteryCurrent, &Logger::batteryLevel,
                       &Logger::processorTemperature, &Logger::boardTemperature,
                       &Logger::batteryVoltage, &Logger::batteryTemperature, &Logger::frameHeader,
                       &Logger::frameRate, &Logger::cameraErrorCount>;
template struct Fields<LoggerEntry, 2088, 4, &LoggerEntry::frameHeader, &LoggerEntry::frameRate,
                       &LoggerEntry::cameraErrorCount, &LoggerEntry::batteryVoltage,
                       &LoggerEntry::batteryTemperature, &LoggerEntry::batteryCurrent,
                       &LoggerEntry::batteryLevel, &LoggerEntry::boardTemperature,
                       &LoggerEntry::processorTemperature>;
static_assert(sizeof(LoggerEntry::frameHeader) == 2048);
template struct Fields<LoggerService, 56, 32, &LoggerService::observers, &LoggerService::uptime>;
template struct Fields<CameraManager, 48, 12, &CameraManager::manager, &CameraManager::wiring>;
template struct Fields<Camera, 88, 16, &Camera::handle, &Camera::observers, &Camera::frames,
                       &Camera::connectionState, &Camera::frameCounter, &Camera::captureStart,
                       &Camera::sessionMutex>;
template struct Fields<USB, 532, 68, &USB::gadgetIndex, &USB::controllerName, &USB::gadgetDirectory,
                       &USB::stringsDirectory, &USB::configurationDirectory, &USB::chipId,
                       &USB::chipIdPromise, &USB::serialNumber, &USB::serialNumberPromise,
                       &USB::attributeStream, &USB::gadgets>;
template struct Fields<USBGadget, 476, 56, &USBGadget::attributeStream, &USBGadget::gadgetIndex,
                       &USBGadget::controllerName, &USBGadget::gadgetDirectory,
                       &USBGadget::functionsDirectory, &USBGadget::configurationDirectory,
                       &USBGadget::functionInstance>;
template struct Fields<USBGadgetMassStorage, 532, 476, &USBGadgetMassStorage::readOnly,
                       &USBGadgetMassStorage::backingFile, &USBGadgetMassStorage::label,
                       &USBGadgetMassStorage::storage>;
template struct Fields<USBGadgetSerial, 488, 476, &USBGadgetSerial::debugger,
                       &USBGadgetSerial::getty>;
template struct Fields<USBGadgetSubi, 728, 500, &USBGadgetSubi::endpointZero,
                       &USBGadgetSubi::mountDirectory, &USBGadgetSubi::latestHeaderValue,
                       &USBGadgetSubi::identity, &USBGadgetSubi::roicIdPromise,
                       &USBGadgetSubi::chipIdPromise, &USBGadgetSubi::serialNumberPromise,
                       &USBGadgetSubi::firmwarePromise, &USBGadgetSubi::factorySettingsPromise,
                       &USBGadgetSubi::protocol, &USBGadgetSubi::observers>;
template struct Fields<SubiState, 88, 0, &SubiState::status, &SubiState::captureSession,
                       &SubiState::selector, &SubiState::factoryRange,
                       &SubiState::factoryTailRefused, &SubiState::kernelLogCount,
                       &SubiState::kernelLog>;

// A host sends the fields in this order.
template struct Fields<SubiFactoryRange, 6, 0, &SubiFactoryRange::remaining,
                       &SubiFactoryRange::offset, &SubiFactoryRange::flag>;
static_assert(sizeof(kirocamera_firmware_version_t) == 4);

} // namespace vantorel::abi

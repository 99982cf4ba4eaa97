// The rows of PhysicalConstants (values of 2014, SI) and EnergyUnits, in the order in which they are listed.
#pragma once

namespace fermix {

struct PhysicalConstantRow {
  const char* name;
  double value;
  const char* units;
  const char* description;
};

inline constexpr PhysicalConstantRow PhysicalConstantRows[] = {
    {"malpha", 6.64465723e-27, "kg", "alpha particle mass in kilogram"},
    {"gd", 0.8574382311, "", "Deuteron g factor"},
    {"mud", 4.33073504e-27, "J T^-1", "Deuteron magnetic moment in Joule per Tesla"},
    {"md", 3.343583719e-27, "kg", "Deuteron mass in kilogram"},
    {"lambdaCe", 2.4263102367e-12, "m", "Electron Compton wavelength in units of meter"},
    {"ge", -2.00231930436182, "", "Electron g factor"},
    {"mue", -9.28476462e-24, "J T^-1", "Electron magnetic moment in Joule per Tesla"},
    {"me", 9.10938356e-31, "kg", "Electron mass in kilogram"},
    {"lambdaCmu", 1.173444111e-14, "m", "Muon Compton wavelength in units of meter"},
    {"gmu", -2.0023318418, "", "Muon g factor"},
    {"mumu", -4.49044826e-26, "J T^-1", "Muon magnetic moment in Joule per Tesla"},
    {"mmu", 1.883531594e-28, "kg", "Muon mass in kilogram"},
    {"lambdaCn", 1.319590904e-15, "m", "Neutron Compton wavelength in units of meter"},
    {"gn", -3.82608545, "", "Neutron g factor"},
    {"mun", -9.662365e-27, "J T^-1", "Neutron magnetic moment in Joule per Tesla"},
    {"mn", 1.674927471e-27, "kg", "Neutron mass in kilogram"},
    {"lambdaCp", 1.32140985396e-15, "m", "Proton Compton wavelength in units of meter"},
    {"gp", 5.585694702, "", "Proton g factor"},
    {"mup", 1.4106067873e-26, "J T^-1", "Proton magnetic moment in Joule per Tesla"},
    {"mp", 1.672621898e-27, "kg", "Proton mass in kilogram"},
    {"lambdaCtau", 6.97787e-16, "m", "Tau Compton wavelength in units of meter"},
    {"mtau", 3.167e-27, "kg", "Tau mass in kilogram"},
    {"Z0", 376.730313461, "Ohm", "Characteristic impedance of vacuum in Ohm"},
    {"G", 6.67408e-11, "m^3 kg^-1 s^-2",
     "Newtonian constant of graviation in units of meter cubed per kilogram per second squared"},
    {"lPlanck", 1.616229e-35, "m", "Planck length in meter"},
    {"mPlanck", 2.17647e-08, "kg", "Planck mass in kilogram"},
    {"TPlanck", 1.416808e+32, "K", "Planck temperature in Kelvin"},
    {"tPlanck", 5.39116e-44, "s", "Planck time in seconds"},
    {"G0", 7.748091731e-05, "S", "Conductance quantum in units of Siemens"},
    {"R0", 12906.4037278, "Ohm", "Resistance quantum in units of Ohm"},
    {"KJ", 483597852500000.0, "Hz V^_1", "Josephson constant in Herz per Volt"},
    {"Phi0", 2.067833831e-15, "Wb", "Magnetic flux quantum in units of Weber"},
    {"RK", 25812.807455, "Ohm", "von Klitzing constant in units of Ohm"},
    {"re", 2.8179403227e-15, "m", "classical electron radius in meter"},
    {"mu", 1.66053904e-27, "kg", "Atomic mass constant in kilogram"},
    {"muN", 5.050783699e-27, "J T^-1", "Nuclear magneton in Joule per Tesla"},
    {"F", 96485.33289, "C mol^-1", "Faraday constant in units of Coulomb per mole"},
    {"R", 8.3144598, "J mol^-1 K^-1", "Molar gas constant in Joule per mole per Kelvin"},
    {"sigma", 5.670367e-08, "W m^-2 K^-4",
     "Stefan-Boltzmann constant in Wat per meter square per Kelvin to the forth power"},
    {"e", 1.6021766208e-19, "C", "Elementary charge in units of Coulomb"},
    {"a0", 5.2917721067e-11, "m", "Bohr radius in meter"},
    {"c", 299792458.0, "m s^-1", "speed of light in vacuum in meter per second"},
    {"epsilon0", 8.854187817620389e-12, "F m^-1",
     "Electric constant (vacuum permittivity) in Farads per meter"},
    {"mu0", 1.2566370614359173e-06, "N A^-2",
     "Magnetic constant (vacuum permeability) in Newton per Ampare squared"},
    {"h", 6.62607004e-34, "J s^-1", "Planck's constant in Joule per second"},
    {"hbar", 1.0545718e-34, "J s^-1", "Planck's constant divided by 2 pi in Joule per second"},
    {"muB", 9.274009994e-24, "J T^-1", "Bohr magneton in Joule per Tesla"},
    {"kB", 1.38064852e-23, "J K^-1", "Boltzmann constant in units of Joule per Kelvin"},
    {"NA", 6.022140857e+23, "mol^-1", "Avogadro constant in units of number of particles per mole"},
    {"alpha", 0.0072973525664, "", "fine-structure constant (1/(4 pi epsilon0) e^2/(hbar c)"},
};

struct EnergyUnitRow {
  const char* longName;
  const char* shortName;
  double joule;
  const char* description;
};

inline constexpr EnergyUnitRow EnergyUnitRows[] = {
    {"Joule", "J", 1.0,
     "Energy transferred (or work done) to an object when a force of one newton acts on that object in the "
     "direction of its motion through a distance of one meter"},
    {"Rydberg", "Ryd", 2.179872324952945e-18,
     "Rydberg, binding energy of a clasical electron to a point potential of 1 unit of electrical charge"},
    {"Hartree", "Ha", 4.35974464990589e-18, "Hartree energy (2 Rydberg)"},
    {"electron Volt", "eV", 1.6021766207999999e-19,
     "The amount of energy gained (or lost) by the charge of a single electron moved across an electric "
     "potential difference of one volt"},
    {"Kelvin", "K", 1.3806485200000002e-23, "kB Boltzmann constant"},
    {"Tesla", "T", 9.274009993999999e-24, "muB Bohr magneton"},
    {"pernm", "nm^-1", 1.9864458241717586e-16, "10^9 h c"},
    {"percm", "cm^-1", 1.9864458241717587e-23, "100 h c"},
    {"TeraHz", "THz", 6.626070040000001e-22, "10^12 h"},
    {"perfs", "fs^-1", 6.626070040000001e-19, "10^15 h"},
};

}  // namespace fermix

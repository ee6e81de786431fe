function [result, units] = trelread(path)
% TRELREAD  Read a result of trelrun.
%   result = trelread('beam.nc') has a field for each variable of the file: grids such as
%   result.absorption with the axes x, y, z, time, wavelength, their standard errors in
%   result.absorption_error, the middles of the cells in result.x and so on (mm, ps, nm).
%   result.attributes has model, seed, packets, rules and so on, units the unit of each variable.
%   In Octave: pkg load netcdf. docs/result-files.md tells what the variables are.
  if exist('OCTAVE_VERSION', 'builtin')
    import_netcdf;  % the functions of MATLAB's package of that name
  end
  if exist(path, 'file') ~= 2
    error('trelread:file', '%s is not there', path);
  end
  file = netcdf.open(path, 'NOWRITE');
  [~, variables, attributes] = netcdf.inq(file);
  result = struct('attributes', struct());
  units = struct();
  for variable = 0:variables - 1
    [name, type, ~, count] = netcdf.inqVar(file, variable);
    if strncmp(name, 'state_', 6)
      continue  % for trelrun --continue
    end
    try
      result.(name) = netcdf.getVar(file, variable);
    catch problem
      if type ~= 12, rethrow(problem); end
      result.(name) = {};  % text (NC_STRING), which Octave does not read
    end
    for number = 0:count - 1
      if strcmp(netcdf.inqAttName(file, variable, number), 'units')
        units.(name) = netcdf.getAtt(file, variable, 'units');
      end
    end
  end
  for number = 0:attributes - 1
    name = netcdf.inqAttName(file, netcdf.getConstant('NC_GLOBAL'), number);
    result.attributes.(name) = netcdf.getAtt(file, netcdf.getConstant('NC_GLOBAL'), name);
  end
  netcdf.close(file);
end

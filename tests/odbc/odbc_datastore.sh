# Sourced by the scripts that run the tool against a server: writes the
# configuration of one ODBC datastore.

# write_odbc_datastore DIR NAME PARAMETERS: DIR/NAME.xml configures the
# instance NAME with the source parameters PARAMETERS, and
# DIR/NAME-datastores.xml is the group document the tool's --config takes.
write_odbc_datastore() {
  local dir=$1 name=$2 parameters=$3
  cat >"$dir/$name.xml" <<XML
<configuration instance_name="$name" type="odbc" source_types="data" source_parameters="$parameters"/>
XML
  cat >"$dir/$name-datastores.xml" <<XML
<datastores>
  <group path="datastore/quarn64">
    <entry config_file="$name.xml" config_path="$dir">libodbc.so</entry>
  </group>
</datastores>
XML
}
